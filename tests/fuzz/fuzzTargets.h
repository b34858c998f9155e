// fuzzTargets.h: everything of the program that reads bytes which others have made.
#pragma once

#include "tests/fuzz/FuzzInput.h"

#include <span>

#include <vector>

namespace quillet::fuzz {

/// A target reads any bytes at all. It stops the program (expect, a sanitizer, fatal()) when what it tries does not
/// keep its promises.
struct FuzzTarget {
    const char* name;
    void (*read)(std::span<const std::byte> input);
    /// Ordinary input to begin with, made by code.
    std::vector<Bytes> (*seeds)();
};

[[nodiscard]] std::span<const FuzzTarget> fuzzTargets();

/// A promise; a broken one stops the program with its text.
void expect(bool isKept, const char* promise);

// The targets, by what they read.
void readSettings(std::span<const std::byte> input);
std::vector<Bytes> settingsSeeds();
void readCameraBuffers(std::span<const std::byte> input);
std::vector<Bytes> cameraBufferSeeds();
void readCameraJpeg(std::span<const std::byte> input);
std::vector<Bytes> cameraJpegSeeds();
void readCameraOffers(std::span<const std::byte> input);
std::vector<Bytes> cameraOfferSeeds();
void readSoundBuffers(std::span<const std::byte> input);
std::vector<Bytes> soundBufferSeeds();
void readSoundFormats(std::span<const std::byte> input);
std::vector<Bytes> soundFormatSeeds();
void readDefaultNames(std::span<const std::byte> input);
std::vector<Bytes> defaultNameSeeds();
void readWindowAnswers(std::span<const std::byte> input);
std::vector<Bytes> windowAnswerSeeds();
void readWindowNews(std::span<const std::byte> input);
std::vector<Bytes> windowNewsSeeds();

} // namespace quillet::fuzz
