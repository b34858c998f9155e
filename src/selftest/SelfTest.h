// SelfTest.h: a check of composing, pooling and writing on synthetic frames, without a display.
#pragma once

#include "media/PixelBuffer.h"
#include "pipeline/Compositor.h"
#include "pipeline/PixelBufferPool.h"
#include "pipeline/RecordingWriter.h"

#include <filesystem>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>

namespace quillet::SelfTest {

/// What the run exercises. The default is the real thing; tests put broken parts in, to see that the run notices.
struct Parts {
    /// Draws as Compositor::render does.
    using Render = std::function<void(const PixelBuffer& screen, const PixelBuffer* camera,
                                      std::optional<Rect> cameraRect, PixelBuffer& into)>;
    std::function<Render(Rect cropRect, bool mirrorCamera, std::optional<BeautifySettings>)> makeCompositor;
    std::function<std::unique_ptr<PixelBufferPool>(Size)> makePool;
    std::function<std::unique_ptr<RecordingWriter>(const std::filesystem::path&, Size, int fps, ExportQuality)>
        makeWriter;
    std::filesystem::path folder = "/tmp"; ///< where the pictures and the film go, under fixed names

    [[nodiscard]] static Parts real();
};

/// Runs every check, one line each on `report`, and answers the exit status: 0 when all passed, else 1. Files of the
/// fixed names are replaced; a symbolic link there is replaced itself, never followed.
[[nodiscard]] int execute(const Parts& parts, std::ostream& report);

/// The program's `--selftest`: execute with the real parts on standard output, then end the process.
///
/// Threads: the main thread, before any user interface exists; it waits for the writer for at most 15 seconds.
[[noreturn]] void run();

} // namespace quillet::SelfTest
