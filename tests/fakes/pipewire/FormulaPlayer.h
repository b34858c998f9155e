// FormulaPlayer.h: a program that plays, or a microphone that hears, a sound computed from the moment.
#pragma once

#include "platform/pipewire/PipeWireConnection.h"
#include "tests/fakes/SoundDevice.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

namespace quillet::testing {

/// Gives each sample of a fakes::Sound at its moment: the server's cycle that starts at a moment of CLOCK_MONOTONIC
/// takes the sound from there on. Plays while it lives and the server does.
///
/// Threads: made and destroyed on the test's; `sound` is called on the server's data thread.
class FormulaPlayer {
public:
    enum class Role {
        program,    ///< plays to the default output
        microphone, ///< is one, of a priority above all others
    };
    FormulaPlayer(std::shared_ptr<PipeWireConnection> connection, Role role, std::string name, fakes::Sound sound);
    ~FormulaPlayer();
    FormulaPlayer(const FormulaPlayer&) = delete;
    FormulaPlayer& operator=(const FormulaPlayer&) = delete;

private:
    void process();

    std::shared_ptr<PipeWireConnection> line; // shared with whoever else plays
    fakes::Sound sound;
    PipeWireStreamHandle stream;
    std::atomic<pw_stream*> processed = nullptr; // what process() uses, also while `stream` is being destroyed
    PipeWireHook hook;
    PipeWireConnection::Subscription subscription;
};

} // namespace quillet::testing
