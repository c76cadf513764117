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
    int channels = 3;  // 3 for RGB, 4 for CMYK
};

// Photographs through Debian's codecs: 8-bit RGB, grey (read as RGB) and
// CMYK (JPEG and TIFF). The format is told by content when reading and by
// the name's extension when writing.
enum class FileFormat { None, Png, Jpeg, Tiff };
FileFormat formatOfContent(const std::string& path);
FileFormat formatOfName(const std::string& path);
std::string readImageFile(const std::string& path, Image* image);
// Makes an empty file of a fresh name beside `path` (for writing, then
// renaming over `path`); its descriptor, or -1.
int temporaryBeside(const std::string& path, std::string* temp);
// Writes into a temporary beside `path` and renames it over `path` when
// complete, with `icc` (when not empty) embedded.
std::string writeImageFile(const std::string& path, const Image& image, const std::vector<uint8_t>& icc);

// Binary PPM (P6, maxval 255). Empty string on success, else the reason.
std::string readPpm(const std::string& path, Image* image);
std::string writePpm(const std::string& path, const Image& rgb);
std::string readRaw(const std::string& path, size_t expectedBytes, std::vector<uint8_t>* bytes);
std::string writeRaw(const std::string& path, const std::vector<uint8_t>& bytes);

// A 256 x 192 RGB chart: hue ramps at full and half saturation, a grey ramp,
// primaries and secondaries, skin and sky tones, and a random-noise band.
Image colourChart();

}  // namespace quvclr_tool
