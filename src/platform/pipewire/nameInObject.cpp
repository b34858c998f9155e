#include "platform/pipewire/nameInObject.h"

#include <spa/utils/json.h>

#include <array>
#include <string_view>

namespace quillet {

std::string nameInObject(const char* json) {
    spa_json text{};
    spa_json object{};
    spa_json_init(&text, json, std::string_view(json).size());
    if (spa_json_enter_object(&text, &object) <= 0) return {};
    std::array<char, 1024> key{};
    std::array<char, 1024> value{};
    const auto room = [](const std::array<char, 1024>& array) { return static_cast<int>(array.size()); };
    while (spa_json_get_string(&object, key.data(), room(key)) > 0) {
        if (std::string_view(key.data()) == "name")
            return spa_json_get_string(&object, value.data(), room(value)) > 0 ? value.data() : "";
        const char* skipped = nullptr;
        if (spa_json_next(&object, &skipped) <= 0) break;
    }
    return {};
}

} // namespace quillet
