// pipewireCalls.h: those of libpipewire's calls that are C macros, as functions: the macros' casts and statement
// expressions are not what our warnings allow in C++.
//
// Threads: as for every call into the library: the loop's, or with the connection's lock held.
#pragma once

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>

#include <cstdint>
#include <ctime>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"
#ifdef __clang__
#pragma GCC diagnostic ignored "-Wgnu-statement-expression"
#endif

namespace quillet {

inline void listenTo(pw_core* core, spa_hook* hook, const pw_core_events& events, void* data) {
    pw_core_add_listener(core, hook, &events, data);
}

/// The number that `done` will bring once everything asked before has been answered.
[[nodiscard]] inline int askForAnswer(pw_core* core) { return pw_core_sync(core, PW_ID_CORE, 0); }

/// Null when the server can take no more.
[[nodiscard]] inline pw_registry* registryOf(pw_core* core) {
    return pw_core_get_registry(core, PW_VERSION_REGISTRY, 0);
}

inline void listenTo(pw_registry* registry, spa_hook* hook, const pw_registry_events& events, void* data) {
    pw_registry_add_listener(registry, hook, &events, data);
}

inline void destroyObject(pw_registry* registry, std::uint32_t id) { pw_registry_destroy(registry, id); }

[[nodiscard]] inline pw_metadata* bindMetadata(pw_registry* registry, std::uint32_t id) {
    return static_cast<pw_metadata*>(
        pw_registry_bind(registry, id, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0));
}

inline void listenTo(pw_metadata* metadata, spa_hook* hook, const pw_metadata_events& events, void* data) {
    pw_metadata_add_listener(metadata, hook, &events, data);
}

/// Writes one property, `type` "Spa:String:JSON" for objects; a null `value` removes it.
inline void setMetadata(pw_metadata* metadata, std::uint32_t subject, const char* key, const char* type,
                        const char* value) {
    pw_metadata_set_property(metadata, subject, key, type, value);
}

[[nodiscard]] inline pw_node* bindNode(pw_registry* registry, std::uint32_t id) {
    return static_cast<pw_node*>(pw_registry_bind(registry, id, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0));
}

inline void listenTo(pw_node* node, spa_hook* hook, const pw_node_events& events, void* data) {
    pw_node_add_listener(node, hook, &events, data);
}

/// All of the node's parameters of one kind; each comes as a `param` event, before what askForAnswer brings afterwards.
inline void askForParameters(pw_node* node, std::uint32_t kind) {
    pw_node_enum_params(node, 0, kind, 0, UINT32_MAX, nullptr);
}

/// A node that `factory` makes in the server; it goes with the proxy.
[[nodiscard]] inline pw_proxy* createNode(pw_core* core, const char* factory, const spa_dict& properties) {
    return static_cast<pw_proxy*>(
        pw_core_create_object(core, factory, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, &properties, 0));
}

/// See PipeWireTimer. Null when the process is out of descriptors.
[[nodiscard]] inline spa_source* addTimer(pw_loop* loop, spa_source_timer_func_t onDue, void* data) {
    return pw_loop_add_timer(loop, onDue, data);
}

inline void setTimer(pw_loop* loop, spa_source* timer, timespec delay) {
    pw_loop_update_timer(loop, timer, &delay, nullptr, false);
}

/// Calls when the descriptor, which stays the caller's, can be read. Null when the process is out of descriptors.
[[nodiscard]] inline spa_source* addReadable(pw_loop* loop, int descriptor, spa_source_io_func_t onReadable,
                                             void* data) {
    return pw_loop_add_io(loop, descriptor, SPA_IO_IN, false, onReadable, data);
}

inline void removeSource(pw_loop* loop, spa_source* source) { pw_loop_destroy_source(loop, source); }

} // namespace quillet

#pragma GCC diagnostic pop
