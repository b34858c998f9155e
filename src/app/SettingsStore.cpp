#include "app/SettingsStore.h"

#include "app/replaceAtomically.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <system_error>

namespace quillet {

namespace {

/// A slider that is being dragged changes its value with every step; this many changes become one file.
constexpr std::chrono::milliseconds writingDelay{100};

std::string escaped(std::string_view text) {
    std::string result;
    for (const char character : text) {
        if (character == '\\') result += "\\\\";
        if (character == '\n') result += "\\n";
        if (character != '\\' && character != '\n') result += character;
    }
    return result;
}

std::string unescaped(std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size())
            result += text[++i] == 'n' ? '\n' : text[i];
        else
            result += text[i];
    }
    return result;
}

std::map<std::string, std::string, std::less<>> parse(std::string_view content) {
    std::map<std::string, std::string, std::less<>> texts;
    while (!content.empty()) {
        const std::string_view line = content.substr(0, content.find('\n'));
        content.remove_prefix(std::min(line.size() + 1, content.size()));
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos || equals == 0 || line.find('\0') != std::string_view::npos) continue;
        texts[std::string(line.substr(0, equals))] = unescaped(line.substr(equals + 1));
    }
    return texts;
}

std::string textOf(const SettingsStore::Value& value) {
    if (const auto* const text = std::get_if<std::string>(&value)) return *text;
    if (const auto* const boolean = std::get_if<bool>(&value)) return *boolean ? "true" : "false";
    if (const auto* const integer = std::get_if<std::int64_t>(&value)) return std::to_string(*integer);
    // The shortest text that reads back as the same number.
    std::string digits(32, '\0');
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), std::get<double>(value)).ptr;
    digits.resize(static_cast<std::size_t>(end - digits.data()));
    return digits;
}

std::string_view withoutLeadingSpace(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    if (text.starts_with('+')) text.remove_prefix(1);
    return text;
}

} // namespace

SettingsStore::SettingsStore(std::filesystem::path path)
    : file(std::move(path)), values(parse(readSmallFile(file).value_or(""))) {}

SettingsStore::~SettingsStore() { flush(); }

bool SettingsStore::contains(std::string_view key) const { return values.contains(key); }

std::optional<std::string> SettingsStore::text(std::string_view key) const {
    const auto found = values.find(key);
    return found == values.end() ? std::nullopt : std::optional(found->second);
}

bool SettingsStore::boolean(std::string_view key) const {
    std::string word = text(key).value_or("");
    for (char& character : word)
        if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
    return word == "true" || word == "yes" || word == "on" || real(key) != 0;
}

std::int64_t SettingsStore::integer(std::string_view key) const {
    const std::string stored = text(key).value_or("");
    const std::string_view digits = withoutLeadingSpace(stored);
    std::int64_t number = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (result.ec == std::errc::result_out_of_range)
        return digits.starts_with('-') ? std::numeric_limits<std::int64_t>::min()
                                       : std::numeric_limits<std::int64_t>::max();
    return number;
}

double SettingsStore::real(std::string_view key) const {
    const std::string stored = text(key).value_or("");
    const std::string_view digits = withoutLeadingSpace(stored);
    double number = 0;
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    return result.ec == std::errc() && std::isfinite(number) ? number : 0;
}

void SettingsStore::write(const std::vector<Entry>& entries) {
    const std::lock_guard guard(lock);
    for (const auto& [key, value] : entries)
        values[key] = pending[key] = textOf(value);
    if (!queue) queue = std::make_unique<SerialQueue>("org.quillet.Quillet.settings");
    if (isScheduled) return;
    isScheduled = true;
    queue->after(SerialQueue::Clock::now() + writingDelay, [this] { writePending(); });
}

void SettingsStore::flush() {
    if (queue) queue->sync([this] { writePending(); });
}

void SettingsStore::writePending() {
    Texts changes;
    {
        const std::lock_guard guard(lock);
        isScheduled = false;
        changes.swap(pending);
    }
    if (changes.empty()) return;

    std::error_code ignored; // replacing the file tells what is wrong
    std::filesystem::create_directories(file.parent_path(), ignored);
    const FolderLock otherCopies(file.parent_path());
    Texts merged = parse(readSmallFile(file).value_or(""));
    const Texts before = merged;
    for (const auto& [key, value] : changes)
        merged[key] = value;
    if (merged == before) return;
    std::string content;
    for (const auto& [key, value] : merged)
        content.append(key).append("=").append(escaped(value)).append("\n");
    const std::optional<Error> error = replaceAtomically(file, content);
    if (!error) return;
    if (!std::exchange(hasComplained, true)) {
        const std::string line = "quillet: the settings are not saved: " + error->description + "\n";
        std::fputs(line.c_str(), stderr);
    }
    const std::lock_guard guard(lock);
    pending.merge(changes); // newer values of the same keys stay
}

} // namespace quillet
