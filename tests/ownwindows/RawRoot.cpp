#include "tests/ownwindows/RawRoot.h"

#include "tests/ownwindows/Program.h"

#include <algorithm>

namespace quillet::testing {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds failureLimit{20};
constexpr std::chrono::milliseconds betweenReads{15};

} // namespace

std::size_t tintedPixels(const Picture& picture) {
    return static_cast<std::size_t>(std::ranges::count_if(picture.pixels, isTinted));
}

RawRoot::RawRoot(const std::string& displayName) : connection(xcb_connect(displayName.c_str(), nullptr)) {
    root = xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data->root;
}

Picture RawRoot::read() const {
    xcb_connection_t* const c = connection.get();
    const auto geometry = owned(xcb_get_geometry_reply(c, xcb_get_geometry(c, root), nullptr));
    if (!geometry) return {};
    const auto image = owned(xcb_get_image_reply(
        c, xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, root, 0, 0, geometry->width, geometry->height, ~0U), nullptr));
    if (!image) return {};
    Picture picture(geometry->width, geometry->height);
    std::memcpy(picture.pixels.data(), xcb_get_image_data(image.get()), picture.pixels.size() * 4);
    for (std::uint32_t& pixel : picture.pixels)
        pixel &= 0xffffffU;
    return picture;
}

Picture RawRoot::settled(std::chrono::milliseconds rest) const {
    const auto limit = Clock::now() + failureLimit;
    Picture picture = read();
    auto since = Clock::now();
    while (Clock::now() < limit) {
        std::this_thread::sleep_for(betweenReads);
        Picture next = read();
        if (next != picture || next.width == 0) {
            picture = std::move(next);
            since = Clock::now();
        } else if (Clock::now() - since >= rest) {
            return picture;
        }
    }
    return {};
}

RawRootWatch::RawRootWatch(const std::string& displayName)
    : thread([this, displayName](const std::stop_token& stop) {
          const RawRoot root(displayName);
          while (!stop.stop_requested()) {
              if (tintedPixels(root.read()) > 0) ++tinted;
              std::this_thread::sleep_for(betweenReads);
          }
      }) {}

} // namespace quillet::testing
