// spaParameters.h: parameters in the server's own notation.
#pragma once

#include <spa/param/buffers.h>
#include <spa/param/param.h>
#include <spa/pod/builder.h>
#include <spa/pod/pod.h>

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace quillet {

/// A parameter in memory of its own.
class SpaPod {
public:
    explicit SpaPod(std::vector<std::uint64_t> content) : words(std::move(content)) {}
    [[nodiscard]] const spa_pod* get() const { return reinterpret_cast<const spa_pod*>(words.data()); }

private:
    std::vector<std::uint64_t> words; // pods are aligned to 8 bytes
};

/// Writes one object of a handful of properties. Stays where it was made. Threads: one at a time.
class ParameterBuilder {
public:
    ParameterBuilder(const ParameterBuilder&) = delete;
    ParameterBuilder& operator=(const ParameterBuilder&) = delete;
    ParameterBuilder(std::uint32_t type, std::uint32_t parameter) : words(64) {
        spa_pod_builder_init(&builder, words.data(), static_cast<std::uint32_t>(words.size() * sizeof(words[0])));
        spa_pod_builder_push_object(&builder, &object, type, parameter);
    }
    /// `Value`: int, spa_rectangle or spa_fraction.
    template <typename Value>
    void range(std::uint32_t key, Value wanted, Value least, Value most) {
        spa_pod_frame choice{};
        spa_pod_builder_prop(&builder, key, 0);
        spa_pod_builder_push_choice(&builder, &choice, SPA_CHOICE_Range, 0);
        for (const Value& each : {wanted, least, most})
            add(each);
        spa_pod_builder_pop(&builder, &choice);
    }
    void rectangle(std::uint32_t key, spa_rectangle value) {
        spa_pod_builder_prop(&builder, key, 0);
        add(value);
    }
    void fraction(std::uint32_t key, spa_fraction value) {
        spa_pod_builder_prop(&builder, key, 0);
        add(value);
    }
    void flags(std::uint32_t key, int set) {
        spa_pod_frame choice{};
        spa_pod_builder_prop(&builder, key, 0);
        spa_pod_builder_push_choice(&builder, &choice, SPA_CHOICE_Flags, 0);
        spa_pod_builder_int(&builder, set);
        spa_pod_builder_pop(&builder, &choice);
    }
    void id(std::uint32_t key, std::uint32_t value) {
        spa_pod_builder_prop(&builder, key, 0);
        spa_pod_builder_id(&builder, value);
    }
    void number(std::uint32_t key, std::size_t value) {
        spa_pod_builder_prop(&builder, key, 0);
        spa_pod_builder_int(&builder, static_cast<int>(value));
    }
    [[nodiscard]] SpaPod finish() {
        spa_pod_builder_pop(&builder, &object);
        return SpaPod(std::move(words));
    }

private:
    void add(int value) { spa_pod_builder_int(&builder, value); }
    void add(spa_rectangle value) { spa_pod_builder_rectangle(&builder, value.width, value.height); }
    void add(spa_fraction value) { spa_pod_builder_fraction(&builder, value.num, value.denom); }

    std::vector<std::uint64_t> words;
    spa_pod_builder builder{};
    spa_pod_frame object{};
};

/// Asks for a piece of metadata on each buffer.
[[nodiscard]] inline SpaPod metaParameter(std::uint32_t type, std::size_t size) {
    ParameterBuilder meta(SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta);
    meta.id(SPA_PARAM_META_type, type);
    meta.number(SPA_PARAM_META_size, size);
    return meta.finish();
}

} // namespace quillet
