// Desktop.h: the user's Desktop folder and file manager.
#pragma once

#include <filesystem>

namespace quillet {

/// The folder that the user's desktop environment calls Desktop, else "Desktop" in the home folder; made if missing. An
/// empty path when there is no home folder or the folder cannot be made. Waits for the disk. Threads: any.
[[nodiscard]] std::filesystem::path desktopFolder();

/// Shows `file` selected in the user's file manager; where none answers on the session bus, opens its folder. Never
/// waits and never fails loudly: the file is there all the same. Threads: main, with a running event loop.
void revealFile(const std::filesystem::path& file);

} // namespace quillet
