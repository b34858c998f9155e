// nameInObject.h: the name in a default device's entry.
#pragma once

#include <string>

namespace quillet {

/// The "name" in `{ "name": "…" }`, as defaults are written; empty if there is none. Any program of the session may
/// have written the text, anything at all.
[[nodiscard]] std::string nameInObject(const char* json);

} // namespace quillet
