// The settings file: any program of the user's may have written it, or half of it.
#include "app/AppState.h"
#include "app/SettingsStore.h"
#include "app/settings.h"
#include "beautify/BeautifyRender.h"
#include "pipeline/BeautifyFrame.h"
#include "tests/fakes/TemporaryFolder.h"
#include "tests/fuzz/fuzzTargets.h"
#include "tools/CameraPreviewWindow.h"
#include "tools/bubbleArithmetic.h"

#include <fstream>
#include <string>
#include <string_view>

namespace quillet::fuzz {

namespace {

/// As the panel's preview and a recording take what was read.
void draw(const AppState& state) {
    const BeautifySettings look = beautifySettings(state);
    expect(look.backgroundIndex >= 0, "a negative backdrop");
    expect(look.cornerRadius >= 0 && look.cornerRadius <= 0.5, "a corner out of range");
    expect(look.padding >= 0 && look.padding < 0.5, "a padding that leaves no picture");
    static_cast<void>(BeautifyFrame(look, 32, 18));
    static_cast<void>(BeautifyRender::previewImage({.bgIndex = look.backgroundIndex,
                                                    .cornerFraction = look.cornerRadius,
                                                    .paddingFraction = look.padding,
                                                    .shadow = look.shadowEnabled,
                                                    .size = {32, 18}}));
}

} // namespace

void readSettings(std::span<const std::byte> input) {
    static const fakes::TemporaryFolder folder;
    const std::filesystem::path file = folder.file("settings");
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(input.data()), static_cast<std::streamsize>(input.size()));
    AppState state;
    {
        SettingsStore store(file);
        state = loadSettings(store);
        if (input.size() % 4 == 1) draw(state); // what has been read costs far less
        const double diameter = bubbleDiameter(store.real(BubbleDiameterStore::key));
        expect(diameter >= smallestBubble && diameter <= largestBubble, "a bubble of no possible size");
        // Writing waits for the disk: now and then is enough.
        if (input.size() % 64 != 1) return;
        saveSettings(store, state);
    }
    const AppState again = loadSettings(SettingsStore(file));
    expect(again.rangeMode == state.rangeMode && again.micEnabled == state.micEnabled &&
               again.quality == state.quality && again.beautifyEnabled == state.beautifyEnabled &&
               again.backgroundIndex == state.backgroundIndex && again.cornerRadius == state.cornerRadius &&
               again.padding == state.padding && again.shadowEnabled == state.shadowEnabled,
           "settings are not read as they were written");
}

std::vector<Bytes> settingsSeeds() {
    std::vector<Bytes> seeds;
    for (const std::string_view text :
         {"Quillet.rangeMode=9:16\nQuillet.micEnabled=true\nQuillet.quality=最高\nQuillet.beautifyEnabled=yes\n"
          "Quillet.backgroundIndex=8\nQuillet.cornerRadius=0.045\nQuillet.padding=0.06\nQuillet.shadowEnabled=1\n"
          "Quillet.cameraPreviewDiameter=312.5\nQuilletControlWindow=100 80 360 440\n",
          "Quillet.backgroundIndex=-1\nQuillet.cornerRadius=nan\nQuillet.padding=-1e308\n",
          "Quillet.backgroundIndex=99999999999999999999\nQuillet.cornerRadius=inf\nQuillet.padding=1e309\n",
          "=\n\\\n==\\n\\\\n=\nQuillet.padding\n\nother=a\\nb\\\\c\\"})
        seeds.push_back(FuzzSeed().bytes(std::as_bytes(std::span(text))).take());
    return seeds;
}

} // namespace quillet::fuzz
