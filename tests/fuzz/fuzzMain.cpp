// The fuzzer's entry points: one program for all targets, chosen by QUILLET_FUZZ_TARGET. scripts/fuzz calls it.
#include "tests/fuzz/fuzzTargets.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace {

const quillet::fuzz::FuzzTarget* chosen = nullptr;

void writeSeeds(const std::filesystem::path& folder) {
    std::filesystem::create_directories(folder);
    int number = 0;
    for (const quillet::fuzz::Bytes& seed : chosen->seeds()) {
        std::ofstream file(folder / ("seed" + std::to_string(number++)), std::ios::binary);
        file.write(reinterpret_cast<const char*>(seed.data()), static_cast<std::streamsize>(seed.size()));
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    const char* const wanted = std::getenv("QUILLET_FUZZ_TARGET");
    for (const quillet::fuzz::FuzzTarget& target : quillet::fuzz::fuzzTargets()) {
        if (!wanted) std::puts(target.name);
        if (wanted && std::string_view(wanted) == target.name) chosen = &target;
    }
    if (!chosen) std::exit(wanted ? 2 : 0);
    if (const char* const folder = std::getenv("QUILLET_FUZZ_SEEDS")) {
        writeSeeds(folder);
        std::exit(0);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    chosen->read({reinterpret_cast<const std::byte*>(data), size});
    return 0;
}
