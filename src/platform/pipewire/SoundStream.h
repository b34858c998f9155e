// SoundStream.h: the default output's sound, or the default microphone's, as stretches with times.
#pragma once

#include "platform/pipewire/CaptureRing.h"
#include "platform/pipewire/NodeDirectory.h"
#include "platform/pipewire/PipeWireTimer.h"
#include "platform/pipewire/pipewireHandles.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace quillet {

/// Captures while it lives, in 48 kHz stereo, which the server makes from whatever the device has. It follows the
/// default device, outlives the server and the session manager, and takes up its work when they come back; while there
/// is nothing to hear it may give silence or nothing.
///
/// Times: an output's sound is stamped with the moment at which programs hand it over (the device takes as long as a
/// display does until it is perceived), a microphone's with the moment of its recording, as far as the device tells its
/// delay.
///
/// Threads: made and destroyed on any but the connection's loop; take on one thread.
class SoundStream {
public:
    enum class Source {
        output,     ///< what the default output plays
        microphone, ///< the default source; nothing while that is no microphone but an output's monitor
    };
    struct Options {
        Source source = Source::output;
        /// A stretch has come. Called on the server's data thread: must neither wait nor allocate. May be empty.
        std::function<void()> onArrival;
    };
    SoundStream(std::shared_ptr<NodeDirectory> directory, Options options);
    ~SoundStream();
    SoundStream(const SoundStream&) = delete;
    SoundStream& operator=(const SoundStream&) = delete;

    /// The oldest stretch not taken yet; what nobody takes for four seconds is lost.
    [[nodiscard]] std::optional<CapturedSound> take() { return ring.take(); }

private:
    void open(pw_core* core);
    void close();
    void process();
    [[nodiscard]] bool isSettling(std::chrono::nanoseconds time, std::int64_t frames);
    void lookAtLinks();
    void expectLink();
    void heal();
    [[nodiscard]] bool isGone() const;
    [[nodiscard]] bool shouldBeLinked() const;

    std::shared_ptr<NodeDirectory> nodes; // shared with all that capture
    const Options wanted;
    CaptureRing ring{4 * 48000};
    std::atomic<bool> isLinked{false};    // to devices of the wanted kind only
    std::atomic<std::uint32_t> device{0}; // counts the changes of what is linked
    std::atomic<bool> hasFormat{false};   // the one that was asked for
    // The data thread only; see isSettling.
    std::uint32_t settledDevice = 0;
    std::chrono::nanoseconds expectedTime{};
    std::chrono::nanoseconds mistrustUntil{};
    std::chrono::nanoseconds settlingUntil{};
    // All below belong to the connection's loop.
    std::string linkedSerials;
    PipeWireStreamHandle stream;
    // What process() uses: its last call ends while the stream is being destroyed, when `stream` is empty already.
    std::atomic<pw_stream*> processed = nullptr;
    PipeWireHook hook;
    std::optional<PipeWireTimer> healing;
    bool isHealing = false; // `healing` is set
    std::chrono::nanoseconds patience{};
    NodeDirectory::Subscription changes;
    PipeWireConnection::Subscription server; // last: goes first
};

} // namespace quillet
