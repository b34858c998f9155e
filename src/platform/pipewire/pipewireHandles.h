// pipewireHandles.h: owners for what libpipewire hands out.
#pragma once

#include <pipewire/pipewire.h>

#include <memory>

namespace quillet {

/// The listener's end of one `pw_…_add_listener`: unhooked when it goes.
///
/// Declare it after the handle of what it listens to, so that it goes first: the library frees its own end of the list
/// together with the object. Threads: the loop's, or with its lock held.
class PipeWireHook {
public:
    PipeWireHook() = default;
    ~PipeWireHook() { remove(); }
    PipeWireHook(const PipeWireHook&) = delete;
    PipeWireHook& operator=(const PipeWireHook&) = delete;

    /// For the argument of `pw_…_add_listener`; what was listened to before no longer is.
    [[nodiscard]] spa_hook* fresh() {
        remove();
        attached = true;
        return &hook;
    }
    void remove() {
        if (attached) spa_hook_remove(&hook);
        attached = false;
        hook = {};
    }

private:
    spa_hook hook{};
    bool attached = false;
};

struct PipeWireProxyDestroy {
    template <typename T>
    void operator()(T* proxy) const {
        pw_proxy_destroy(reinterpret_cast<pw_proxy*>(proxy)); // every remote object is one, by the library's promise
    }
};
/// A remote object: pw_registry, pw_metadata, pw_node, pw_proxy… Must go before its core does.
template <typename T>
using PipeWireProxy = std::unique_ptr<T, PipeWireProxyDestroy>;

struct PipeWireStreamDestroy {
    void operator()(pw_stream* stream) const { pw_stream_destroy(stream); }
};
/// Must go before its core does. Its `process` is not running any more, on any thread, once it is destroyed.
using PipeWireStreamHandle = std::unique_ptr<pw_stream, PipeWireStreamDestroy>;

struct PipeWireContextDestroy {
    void operator()(pw_context* context) const { pw_context_destroy(context); }
};
using PipeWireContextHandle = std::unique_ptr<pw_context, PipeWireContextDestroy>;

struct PipeWireThreadLoopDestroy {
    void operator()(pw_thread_loop* loop) const { pw_thread_loop_destroy(loop); }
};
using PipeWireThreadLoopHandle = std::unique_ptr<pw_thread_loop, PipeWireThreadLoopDestroy>;

} // namespace quillet
