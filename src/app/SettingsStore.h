// SettingsStore.h: the user's settings in one small file that is never half written.
#pragma once

#include "media/SerialQueue.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace quillet {

/// Keys and values as text, one "key=value" to a line, UTF-8; a line break in a value stands as "\n", a backslash as
/// "\\". Read once; what is written afterwards reaches the disk shortly after, many changes as one.
///
/// A file is replaced as a whole and only when its successor is complete on the disk, so a killed process or a lost
/// power line leaves the old settings or the new ones. Several running copies keep each other's keys: a copy reads the
/// file anew before it writes and changes only what it was told to. A file that cannot be read counts as empty, lines
/// that are no settings count for nothing; trouble with writing is told once on standard error and tried again with the
/// next change.
///
/// Threads: one for everything here; the disk is written by a thread of its own.
class SettingsStore {
public:
    using Value = std::variant<bool, std::int64_t, double, std::string>;
    using Entry = std::pair<std::string, Value>;

    explicit SettingsStore(std::filesystem::path file);
    /// Waits until everything is written.
    ~SettingsStore();
    SettingsStore(const SettingsStore&) = delete;
    SettingsStore& operator=(const SettingsStore&) = delete;

    [[nodiscard]] bool contains(std::string_view key) const;
    [[nodiscard]] std::optional<std::string> text(std::string_view key) const;

    // Typed reading never fails. What is absent reads as false or 0, and so does what is not of the type:
    /// True for "true", "yes" and "on" in any case and for numbers other than 0.
    [[nodiscard]] bool boolean(std::string_view key) const;
    /// The whole number that the text begins with ("7", "7.9", "7 apples"); one beyond 64 bits is the nearest that
    /// fits.
    [[nodiscard]] std::int64_t integer(std::string_view key) const;
    /// The finite decimal number that the text begins with, with a point in every locale.
    [[nodiscard]] double real(std::string_view key) const;

    /// Sets these keys; the file never holds some of them without the others.
    void write(const std::vector<Entry>& entries);
    /// Waits until everything written so far is on the disk, or cannot be brought there.
    void flush();

private:
    using Texts = std::map<std::string, std::string, std::less<>>;

    void writePending();

    const std::filesystem::path file;
    Texts values; ///< as this copy sees them

    std::mutex lock; ///< guards pending and isScheduled
    Texts pending;   ///< not on the disk yet
    bool isScheduled = false;
    bool hasComplained = false;         ///< the queue only
    std::unique_ptr<SerialQueue> queue; ///< made with the first change
};

} // namespace quillet
