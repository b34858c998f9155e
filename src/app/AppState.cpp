#include "app/AppState.h"

#include <algorithm>

namespace quillet {

BeautifySettings beautifySettings(const AppState& state) {
    return {.backgroundIndex = std::max<std::int64_t>(state.backgroundIndex, 0),
            .cornerRadius = std::clamp(state.cornerRadius, 0.0, 0.5),
            .padding = std::clamp(state.padding, 0.0, 0.45),
            .shadowEnabled = state.shadowEnabled};
}

} // namespace quillet
