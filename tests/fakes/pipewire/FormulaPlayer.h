// FormulaPlayer.h: a program that plays, or a microphone that hears, a sound computed from the moment.
#pragma once

#include "platform/pipewire/PipeWireConnection.h"
#include "tests/fakes/SoundDevice.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
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
    FormulaPlayer(std::shared_ptr<PipeWireConnection> connection, Role role, const std::string& name,
                  fakes::Sound sound);
    ~FormulaPlayer();
    FormulaPlayer(const FormulaPlayer&) = delete;
    FormulaPlayer& operator=(const FormulaPlayer&) = delete;

    /// From one moment to another, in seconds of CLOCK_MONOTONIC, the server has asked for no sound although it plays:
    /// a busy machine's cycles fail.
    struct Omission {
        double from = 0;
        double to = 0;
    };
    /// The oldest one not taken yet. Not on the server's data thread.
    [[nodiscard]] std::optional<Omission> takeOmission();

private:
    void process();
    void note(Omission omission);

    std::shared_ptr<PipeWireConnection> line; // shared with whoever else plays
    fakes::Sound sound;
    PipeWireStreamHandle stream;
    std::atomic<pw_stream*> processed = nullptr; // what process() uses, also while `stream` is being destroyed
    double expected = 0;                         // where the next cycle's sound begins; the data thread only
    // A ring of which the data thread writes the end; more than it holds is not noted.
    std::array<Omission, 256> omissions{};
    std::atomic<std::size_t> noted = 0;
    std::atomic<std::size_t> taken = 0;
    PipeWireHook hook;
    PipeWireConnection::Subscription subscription;
};

} // namespace quillet::testing
