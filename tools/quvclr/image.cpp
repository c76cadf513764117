#include "image.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

#include <sys/stat.h>
#include <unistd.h>

namespace quvclr_tool {
namespace {

// Reads the next header token of a PPM, skipping white space and comments.
bool nextToken(std::istream& in, std::string* token) {
    token->clear();
    int c;
    while ((c = in.get()) != EOF) {
        if (c == '#') {
            while ((c = in.get()) != EOF && c != '\n') {}
            continue;
        }
        if (std::isspace(c)) {
            if (!token->empty()) return true;
            continue;
        }
        *token += static_cast<char>(c);
    }
    return !token->empty();
}

void hueToRgb(double hue, double saturation, uint8_t* px) {
    const double h = std::fmod(hue, 1.0) * 6.0;
    const int sector = static_cast<int>(h);
    const double f = h - sector;
    const double v = 1.0, p = 1.0 - saturation, q = 1.0 - saturation * f, t = 1.0 - saturation * (1.0 - f);
    double r, g, b;
    switch (sector) {
    case 0: r = v; g = t; b = p; break;
    case 1: r = q; g = v; b = p; break;
    case 2: r = p; g = v; b = t; break;
    case 3: r = p; g = q; b = v; break;
    case 4: r = t; g = p; b = v; break;
    default: r = v; g = p; b = q; break;
    }
    px[0] = static_cast<uint8_t>(std::lround(r * 255));
    px[1] = static_cast<uint8_t>(std::lround(g * 255));
    px[2] = static_cast<uint8_t>(std::lround(b * 255));
}

}  // namespace

std::string readPpm(const std::string& path, Image* image) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return "cannot open " + path;
    std::string magic, w, h, maxval;
    if (!nextToken(in, &magic) || magic != "P6") return path + " is not a PNG, JPEG, TIFF or binary PPM (P6) file";
    if (!nextToken(in, &w) || !nextToken(in, &h) || !nextToken(in, &maxval)) return path + ": truncated header";
    if (maxval != "255") return path + ": only maxval 255 is supported";
    image->width = std::stoi(w);
    image->height = std::stoi(h);
    if (image->width < 1 || image->height < 1) return path + ": bad size";
    image->bytes.resize(static_cast<size_t>(image->width) * image->height * 3);
    in.read(reinterpret_cast<char*>(image->bytes.data()), static_cast<std::streamsize>(image->bytes.size()));
    if (in.gcount() != static_cast<std::streamsize>(image->bytes.size())) return path + ": truncated pixel data";
    return {};
}

// Writes through a temporary beside `path`, renamed over it when complete.
int temporaryBeside(const std::string& path, std::string* temp) {
    *temp = path + ".XXXXXX";
    const int fd = ::mkstemp(temp->data());
    if (fd < 0) return fd;
    const mode_t mask = ::umask(0);  // mkstemp made it private; give it the usual mode
    ::umask(mask);
    ::fchmod(fd, 0666 & ~mask);
    return fd;
}

template <class Write>
std::string writeBeside(const std::string& path, Write write) {
    std::string temp;
    const int fd = temporaryBeside(path, &temp);
    if (fd < 0) return "cannot create a temporary beside " + path;
    ::close(fd);
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        if (!out) return "cannot create " + temp;
        write(out);
        out.flush();
        if (!out) {
            out.close();
            std::remove(temp.c_str());
            return "cannot write " + path;
        }
    }
    if (std::rename(temp.c_str(), path.c_str()) != 0) {
        std::remove(temp.c_str());
        return "cannot rename into " + path;
    }
    return {};
}

std::string writePpm(const std::string& path, const Image& rgb) {
    return writeBeside(path, [&](std::ofstream& out) {
        out << "P6\n" << rgb.width << ' ' << rgb.height << "\n255\n";
        out.write(reinterpret_cast<const char*>(rgb.bytes.data()), static_cast<std::streamsize>(rgb.bytes.size()));
    });
}

std::string readRaw(const std::string& path, size_t expectedBytes, std::vector<uint8_t>* bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return "cannot open " + path;
    bytes->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (bytes->size() != expectedBytes) {
        std::ostringstream msg;
        msg << path << " holds " << bytes->size() << " bytes; " << expectedBytes << " expected";
        return msg.str();
    }
    return {};
}

std::string writeRaw(const std::string& path, const std::vector<uint8_t>& bytes) {
    return writeBeside(path, [&](std::ofstream& out) {
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    });
}

Image colourChart() {
    Image chart;
    chart.width = 256;
    chart.height = 192;
    chart.bytes.resize(static_cast<size_t>(chart.width) * chart.height * 3);
    static const uint8_t patches[16][3] = {
        {255, 0, 0},   {0, 255, 0},     {0, 0, 255},     {0, 255, 255},   {255, 0, 255},   {255, 255, 0},
        {0, 0, 0},     {255, 255, 255}, {200, 100, 50},  {224, 172, 140}, {141, 85, 36},   {120, 170, 220},
        {90, 130, 60}, {128, 128, 128}, {30, 30, 120},   {250, 220, 60},
    };
    uint32_t noise = 12345;
    for (int y = 0; y < chart.height; ++y) {
        for (int x = 0; x < chart.width; ++x) {
            uint8_t* px = &chart.bytes[(static_cast<size_t>(y) * chart.width + x) * 3];
            const int band = y / 32;
            if (band == 0) {
                hueToRgb(x / 256.0, 1.0, px);
            } else if (band == 1) {
                hueToRgb(x / 256.0, 0.5, px);
            } else if (band == 2) {
                px[0] = px[1] = px[2] = static_cast<uint8_t>(x);
            } else if (band == 3) {
                for (int c = 0; c < 3; ++c) px[c] = patches[x / 16][c];
            } else if (band == 4) {
                px[0] = static_cast<uint8_t>(x);
                px[1] = static_cast<uint8_t>((y - 128) * 8);
                px[2] = static_cast<uint8_t>(255 - x);
            } else {
                for (int c = 0; c < 3; ++c) {
                    noise = noise * 1664525u + 1013904223u;
                    px[c] = static_cast<uint8_t>(noise >> 24);
                }
            }
        }
    }
    return chart;
}

}  // namespace quvclr_tool
