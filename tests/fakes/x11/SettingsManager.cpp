#include "tests/fakes/x11/SettingsManager.h"

#include <cstddef>

namespace quillet::testing {

namespace {

class Writer {
public:
    explicit Writer(ByteOrder wanted) : order(wanted) {}

    void number(std::uint32_t value, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
            bytes.push_back(static_cast<std::uint8_t>(value >> 8 * (order == ByteOrder::little ? i : count - 1 - i)));
    }
    void padded(const std::string& text) {
        bytes.insert(bytes.end(), text.begin(), text.end());
        while (bytes.size() % 4 != 0)
            bytes.push_back(0);
    }

    std::vector<std::uint8_t> bytes;

private:
    ByteOrder order;
};

} // namespace

std::vector<std::uint8_t> encodedSettings(const std::vector<Setting>& settings, ByteOrder order) {
    Writer writer(order);
    writer.number(static_cast<std::uint32_t>(order), 1);
    writer.padded("");
    writer.number(1, 4); // serial number
    writer.number(static_cast<std::uint32_t>(settings.size()), 4);
    for (const Setting& setting : settings) {
        writer.number(static_cast<std::uint32_t>(setting.value.index()), 1);
        writer.number(0, 1);
        writer.number(static_cast<std::uint32_t>(setting.name.size()), 2);
        writer.padded(setting.name);
        writer.number(1, 4); // last change
        if (const int* const integer = std::get_if<int>(&setting.value))
            writer.number(static_cast<std::uint32_t>(*integer), 4);
        else if (const auto* const text = std::get_if<std::string>(&setting.value)) {
            writer.number(static_cast<std::uint32_t>(text->size()), 4);
            writer.padded(*text);
        } else
            for (const std::uint16_t share : std::get<Setting::Colour>(setting.value))
                writer.number(share, 2);
    }
    return writer.bytes;
}

SettingsManager::SettingsManager(const std::string& displayName)
    : connection(xcb_connect(displayName.c_str(), nullptr)) {
    xcb_connection_t* const c = connection.get();
    root = xcb_setup_roots_iterator(xcb_get_setup(c)).data->root;
    window = xcb_generate_id(c);
    xcb_create_window(c, 0, window, root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
}

xcb_atom_t SettingsManager::atom(const std::string& name) const {
    xcb_connection_t* const c = connection.get();
    const auto reply = owned(
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, static_cast<std::uint16_t>(name.size()), name.data()), nullptr));
    return reply ? reply->atom : XCB_NONE;
}

void SettingsManager::set(const std::vector<Setting>& settings) {
    const auto bytes = encodedSettings(settings, ByteOrder::little);
    const xcb_atom_t property = atom("_XSETTINGS_SETTINGS");
    xcb_change_property(connection.get(), XCB_PROP_MODE_REPLACE, window, property, property, 8,
                        static_cast<std::uint32_t>(bytes.size()), bytes.data());
    announce();
    xcb_flush(connection.get());
}

void SettingsManager::announce() {
    if (isAnnounced) return;
    isAnnounced = true;
    xcb_connection_t* const c = connection.get();
    const xcb_atom_t selection = atom("_XSETTINGS_S0");
    xcb_set_selection_owner(c, window, selection, XCB_CURRENT_TIME);
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = root;
    message.type = atom("MANAGER");
    message.data.data32[1] = selection;
    message.data.data32[2] = window;
    xcb_send_event(c, 0, root, XCB_EVENT_MASK_STRUCTURE_NOTIFY, reinterpret_cast<const char*>(&message));
}

} // namespace quillet::testing
