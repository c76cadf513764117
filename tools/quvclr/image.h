// Images for the command-line program: binary PPM, raw bytes, and the
// built-in colour chart.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quvclr_tool {

struct Image {
    int32_t width = 0;
    int32_t height = 0;
    std::vector<uint8_t> bytes;
};

// Binary PPM (P6, maxval 255). Empty string on success, else the reason.
std::string readPpm(const std::string& path, Image* image);
std::string writePpm(const std::string& path, const Image& rgb);
std::string readRaw(const std::string& path, size_t expectedBytes, std::vector<uint8_t>* bytes);
std::string writeRaw(const std::string& path, const std::vector<uint8_t>& bytes);

// A 256 x 192 RGB chart: hue ramps at full and half saturation, a grey ramp,
// primaries and secondaries, skin and sky tones, and a random-noise band.
Image colourChart();

}  // namespace quvclr_tool
