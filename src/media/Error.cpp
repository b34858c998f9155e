#include "media/Error.h"

#include <system_error>

namespace quillet {

Error systemError(const std::string& action, int number) {
    // std::generic_category() answers with strerror_r's text, safely from any thread.
    return {"errno", number, action + ": " + std::generic_category().message(number)};
}

} // namespace quillet
