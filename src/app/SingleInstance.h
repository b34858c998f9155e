// SingleInstance.h: one running copy per session, found through the session bus.
#pragma once

#include <functional>
#include <memory>

namespace quillet {

/// Holds the name org.quillet.Quillet on the session bus and answers org.freedesktop.Application.Activate, which
/// desktop environments call, too. Where there is no session bus, or where the copy that has the name does not answer,
/// copies run beside each other; they may.
///
/// Threads: main, with an application object.
class SingleInstance {
public:
    /// Null when another copy has the name and has brought up its window: then there is nothing left to do.
    [[nodiscard]] static std::unique_ptr<SingleInstance> make();
    /// Gives the name back: from now on a new copy starts as the first.
    ~SingleInstance();
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;

    /// Somebody wants to see the window.
    std::function<void()> onActivate;

private:
    class Object;
    SingleInstance();
    std::unique_ptr<Object> object; ///< null: without the bus
};

} // namespace quillet
