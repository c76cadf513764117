// quvclr: the command-line face of the library.
#include "image.h"

#include "kernels/catalogue.h"

#include <quvclr/quvclr.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

using quvclr_tool::Image;

namespace {

using SpaceName = quv::kernels::SpaceFacts;

// The spaces whose formula kernels the library has today; the default run
// shows each of them.
const char* const kFormulaSpaces[] = {"bgr", "yuv", "yiq", "ycbcr", "xyz", "hsv", "hls", "hsi", "cmy",
                                      "cmyk", "lab", "ycck", "yuy2", "uyvy", "y41p", "yvu9"};

const SpaceName* findSpace(const std::string& name) {
    for (const SpaceName& s : quv::kernels::kSpaces)
        if (name == s.name) return &s;
    return nullptr;
}

const char* statusName(ClrStatus status) {
    static const std::map<ClrStatus, const char*> names = {
        {CLR_SUCCESS, "success"},
        {0, "done (0)"},  // YCCK to RGB by formula through a handle reports 0
        {CLR_NO_MEMORY, "out of memory"},
        {CLR_INVALID_DIMENSION, "invalid dimension"},
        {CLR_INVALID_PARAMETER, "invalid parameter"},
        {CLR_INVALID_TAG_DATA, "value outside its form"},
        {CLR_BAD_POINTER, "bad pointer"},
        {CLR_INVALID_HANDLE, "invalid handle"},
        {CLR_INVALID_SPACE, "invalid space"},
        {CLR_INVALID_METHOD, "invalid method"},
        {CLR_WIDTH_NOT_MULTIPLE, "width not a multiple of the packing"},
        {CLR_SIZE_NOT_MULTIPLE_OF_4, "size not a multiple of 4"},
        {CLR_NULL_ARGUMENT, "null argument"},
        {CLR_ICC_SPACE_MISMATCH, "space not served"},
        {CLR_FILE_NOT_FOUND, "file not found"},
        {CLR_FILE_READ_FAILED, "read failed"},
        {CLR_FILE_CREATE_FAILED, "file could not be opened"},
        {CLR_PROFILE_OPEN_FAILED, "profile could not be opened"},
        {CLR_INVALID_PROFILE_SET, "no usable profile"},
        {CLR_TRANSFORM_LINK_FAILED, "profiles could not be linked"},
        {CLR_INVALID_STRUCT_SIZE, "record size not accepted"},
        {CLR_NOT_TIFF, "not a TIFF file"},
        {CLR_INVALID_FORMAT, "invalid format"},
        {CLR_INVALID_BITS_PER_PIXEL, "table of the wrong kind"},
        {CLR_EPS_PROFILE_MALFORMED, "malformed profile image"},
        {CLR_TAG_UNKNOWN_SIGNATURE, "unknown tag signature"},
        {CLR_TAG_UNKNOWN_TYPE, "type carried as raw bytes"},
        {CLR_TAG_UNKNOWN_BOTH, "unknown signature, type carried as raw bytes"},
        {CLR_INVALID_PROFILE, "not a valid ICC profile"},
        {CLR_TAG_NOT_FOUND, "tag not found"},
        {CLR_NO_PROFILE_IN_FILE, "no profile in the file"},
        {CLR_PROFILE_DATA_TRUNCATED, "profile data cut short"},
        {CLR_CODEC_MISSING, "PNG codec module missing"},
        {CLR_FORMAT_HOLDS_NO_PROFILE, "format carries no profile here"},
        {CLR_RIFF_CHUNK_OVERRUN, "RIFF chunk runs past its container"},
        {CLR_UNEXPECTED_END_OF_FILE, "unexpected end of file"},
        {CLR_FILE_SEEK_FAILED, "seek failed"},
        {CLR_FILE_WRITE_FAILED, "write failed"},
        {CLR_FILE_OPEN_FAILED, "file could not be opened"},
        {CLR_FAILURE, "failure"},
    };
    auto it = names.find(status);
    return it == names.end() ? "failure" : it->second;
}

size_t imageBytes(ClrSpace space, int32_t width, int32_t height) {
    return quv::kernels::rowBytes(space, width) * static_cast<size_t>(height);
}

// How a conversion is made: the method and what it needs.
struct Method {
    std::string name = "builtin";
    std::string inProfile, outProfile, table;
    std::vector<uint8_t> inProfileBytes;   // the input image's own profile, used when there is no inProfile
    std::vector<uint8_t> outProfileBytes;  // used when there is no outProfile
    int gcr = -1;  // CMYK grey-component replacement level, -1 for the default
};

const struct {
    const char* name;
    ClrMethod method;
    const char* description;
} kMethods[] = {
    {"builtin", CLR_METHOD_BUILTIN, "built-in formulas"},
    {"icc", CLR_METHOD_ICC, "ICC transform between the embedded profiles"},
    {"custom", CLR_METHOD_CUSTOM_ICC, "ICC transform between the given profiles"},
    {"emulation", CLR_METHOD_EMULATION, "built-in emulation tables"},
    {"custom-emulation", CLR_METHOD_CUSTOM_EMULATION, "emulation table from a file"},
    {"auto", CLR_METHOD_AUTO, "chosen by the library for the pair"},
};

bool methodFlag(const std::string& name, ClrMethod* method, const char** description) {
    for (const auto& m : kMethods)
        if (name == m.name) {
            *method = m.method;
            *description = m.description;
            return true;
        }
    return false;
}

void setPath(ClrWChar* field, const std::string& path) {
    // UTF-8 to UTF-16, enough for paths.
    size_t n = 0;
    for (size_t i = 0; i < path.size() && n + 2 < CLR_PATH_CHARS;) {
        unsigned char c = path[i];
        uint32_t cp = c;
        int extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
        if (extra) cp = c & (0x3F >> extra);
        for (int k = 1; k <= extra && i + k < path.size(); ++k) cp = (cp << 6) | (path[i + k] & 0x3F);
        i += extra + 1;
        if (cp >= 0x10000) {
            cp -= 0x10000;
            field[n++] = static_cast<ClrWChar>(0xD800 | (cp >> 10));
            field[n++] = static_cast<ClrWChar>(0xDC00 | (cp & 0x3FF));
        } else {
            field[n++] = static_cast<ClrWChar>(cp);
        }
    }
    field[n] = 0;
}

// A handle for one direction; `reverse` swaps the profiles for the way back.
ClrStatus makeHandle(const Method& m, ClrSpace from, ClrSpace to, bool reverse, ClrHandle** handle) {
    ClrMethod flag = CLR_METHOD_BUILTIN;
    const char* description = nullptr;
    methodFlag(m.name, &flag, &description);
    if (flag == CLR_METHOD_BUILTIN && m.gcr < 0) return Quv_ClrInit(handle, from, to, nullptr);
    ClrParams params;
    std::memset(&params, 0, sizeof params);
    params.size = CLR_PARAMS_SIZE;
    params.activeMethod = params.methodMask = flag;
    params.emulationKind = CLR_METHOD_EMULATION;
    setPath(params.inputProfilePath, reverse ? m.outProfile : m.inProfile);
    setPath(params.outputProfilePath, reverse ? m.inProfile : m.outProfile);
    setPath(params.emulationTablePath, m.table);
    ClrCmykParams cmyk{sizeof(ClrCmykParams), m.gcr, 1};
    if (m.gcr >= 0) params.cmykParams = &cmyk;
    ClrProfileBlock inBlock{sizeof(ClrProfileBlock), m.inProfileBytes.data(), m.inProfileBytes.size()};
    ClrProfileBlock outBlock{sizeof(ClrProfileBlock), m.outProfileBytes.data(), m.outProfileBytes.size()};
    if (!m.inProfileBytes.empty()) *(reverse ? &params.outputProfileBlock : &params.inputProfileBlock) = &inBlock;
    if (!m.outProfileBytes.empty()) *(reverse ? &params.inputProfileBlock : &params.outputProfileBlock) = &outBlock;
    return Quv_ClrInit(handle, from, to, &params);
}

struct RoundTrip {
    ClrStatus forward = 0;
    ClrStatus back = 0;
    std::vector<uint8_t> converted;
    int maxError[4] = {};
    double meanError[4] = {};
};

// Converts `image` (in `from`) to `to` through a handle, and back again.
RoundTrip roundTrip(const std::vector<uint8_t>& image, int32_t width, int32_t height, const SpaceName& from,
                    const SpaceName& to, const Method& method = {}) {
    RoundTrip result;
    result.converted.assign(imageBytes(to.space, width, height), 0);
    std::vector<uint8_t> back(image.size(), 0);

    ClrHandle* there = nullptr;
    ClrHandle* home = nullptr;
    result.forward = makeHandle(method, from.space, to.space, false, &there);
    if (result.forward == CLR_SUCCESS)
        result.forward = Quv_ClrConvert(there, image.data(), result.converted.data(), width, height, 0, 0);
    result.back = makeHandle(method, to.space, from.space, true, &home);
    if (result.back == CLR_SUCCESS)
        result.back = Quv_ClrConvert(home, result.converted.data(), back.data(), width, height, 0, 0);
    if (there) Quv_ClrFree(there);
    if (home) Quv_ClrFree(home);

    const int channels = from.channels;
    if (channels == 0) return result;
    double sum[4] = {};
    for (size_t i = 0; i < image.size(); ++i) {
        const int c = static_cast<int>(i % channels);
        const int err = std::abs(int(image[i]) - int(back[i]));
        result.maxError[c] = std::max(result.maxError[c], err);
        sum[c] += err;
    }
    const double pixels = double(image.size()) / channels;
    for (int c = 0; c < channels; ++c) result.meanError[c] = sum[c] / pixels;
    return result;
}

void printErrors(const RoundTrip& r, int channels) {
    for (int c = 0; c < channels; ++c) std::printf(" %3d", r.maxError[c]);
    std::printf("   ");
    for (int c = 0; c < channels; ++c) std::printf(" %6.3f", r.meanError[c]);
    std::printf("\n");
}

int chartTour() {
    const Image chart = quvclr_tool::colourChart();
    const SpaceName& rgb = *findSpace("rgb");
    std::printf("quvclr: built-in colour chart, %d x %d pixels, from rgb by built-in formulas\n", chart.width,
                chart.height);
    std::printf("round trip rgb -> space -> rgb; error in counts per channel (R, G, B)\n\n");
    std::printf("%-7s %-9s %-9s %-16s %s\n", "space", "forward", "back", "max error", "mean error");
    int failures = 0;
    for (const char* name : kFormulaSpaces) {
        const SpaceName& to = *findSpace(name);
        RoundTrip r = roundTrip(chart.bytes, chart.width, chart.height, rgb, to);
        std::printf("%-7s %-9s %-9s", name, statusName(r.forward), statusName(r.back));
        printErrors(r, 3);
        if (r.forward < 0 || r.back < 0) ++failures;
    }
    return failures == 0 ? 0 : 1;
}

// What each command does and takes: `quvclr --help` prints them all,
// `quvclr COMMAND --help` one.
const struct {
    const char* verb;
    const char* text;
} kHelp[] = {
    {"", "  quvclr                       convert the built-in chart from rgb to each formula space and back\n"},
    {"convert",
     "  quvclr convert [IMAGE] [options]\n"
     "                               convert an image between two spaces\n"
     "      IMAGE, --in FILE         input: a PNG, JPEG or TIFF (8-bit RGB, grey, or CMYK for JPEG and TIFF,\n"
     "                               told by content), a binary PPM for rgb, raw bytes otherwise\n"
     "                               (default: the built-in chart)\n"
     "      --from SPACE             source space of a PPM or raw input (default rgb; an image file's own)\n"
     "      --to SPACE               destination space (default yuv)\n"
     "      --size WxH               size of a raw input\n"
     "      --out FILE               output: .png, .jpg or .tif for rgb or cmyk (written beside, then renamed,\n"
     "                               with the output profile embedded), a PPM for rgb, raw bytes otherwise\n"
     "      --method NAME            builtin (default), icc, custom, emulation, custom-emulation, auto\n"
     "      --in-profile FILE        source ICC profile (method custom); default: the one inside the input\n"
     "                               image, else the library's embedded profile of the source space\n"
     "      --out-profile FILE       destination ICC profile (method custom); default: the library's\n"
     "                               embedded profile of the destination space\n"
     "      --table FILE             emulation table, a TIFF (method custom-emulation)\n"
     "      --gcr N                  CMYK grey-component replacement, 0..1000\n"
     "  example: quvclr convert photo.jpg --to cmyk --method custom --out-profile press.icc --out photo-cmyk.tif\n"},
    {"spaces", "  quvclr spaces                list the colour spaces\n"},
    {"profile",
     "  quvclr profile FILE          print an ICC profile (an ICC file, or the one inside an image file):\n"
     "                               header, tag table and decoded tags\n"},
    {"extract", "  quvclr extract IMAGE OUT.icc write the profile inside an image file to an ICC file\n"},
    {"embed", "  quvclr embed IMAGE FILE.icc  put an ICC profile into a TIFF, JPEG, GIF or WebP file\n"},
    {"embedded", "  quvclr embedded [ID [FILE]]  the embedded profiles: their facts, one in full, or its bytes to FILE\n"},
};

void usage(const std::string& verb = "") {
    std::printf("usage:\n");
    for (const auto& h : kHelp)
        if (verb.empty() || verb == h.verb) std::fputs(h.text, stdout);
    if (verb.empty()) std::printf("  quvclr COMMAND --help        one command\n");
}

bool wantsHelp(int argc, char** argv) {
    for (int i = 0; i < argc; ++i)
        if (!std::strcmp(argv[i], "--help") || !std::strcmp(argv[i], "-h")) return true;
    return false;
}

// ---- profiles ----

std::string sigText(uint32_t sig) {
    if (sig == 0) return "0";
    std::string s;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const char c = static_cast<char>(sig >> shift);
        s += (c >= 32 && c < 127) ? c : '.';
    }
    return "\"" + s + "\"";
}

double s15(uint32_t v) { return Quv_2bFixed2bNumberToDouble(v); }

void printHeader(const IccHeader& h) {
    std::printf("header\n");
    std::printf("  size               %u bytes\n", h.size);
    std::printf("  cmm                %s\n", sigText(h.cmmType).c_str());
    std::printf("  version            %u.%u.%u (0x%08x)\n", h.version >> 24, (h.version >> 20) & 15,
                (h.version >> 16) & 15, h.version);
    std::printf("  class              %s\n", sigText(h.deviceClass).c_str());
    std::printf("  colour space       %s\n", sigText(h.colorSpace).c_str());
    std::printf("  connection space   %s\n", sigText(h.connectionSpace).c_str());
    std::printf("  created            %04u-%02u-%02u %02u:%02u:%02u\n", h.dateTime.year, h.dateTime.month,
                h.dateTime.day, h.dateTime.hours, h.dateTime.minutes, h.dateTime.seconds);
    std::printf("  signature          %s\n", sigText(h.signature).c_str());
    std::printf("  platform           %s\n", sigText(h.primaryPlatform).c_str());
    std::printf("  flags              0x%08x\n", h.flags);
    std::printf("  manufacturer       %s\n", sigText(h.manufacturer).c_str());
    std::printf("  model              0x%08x\n", h.model);
    std::printf("  attributes         0x%016llx\n", static_cast<unsigned long long>(h.attributes));
    std::printf("  rendering intent   %u\n", h.renderingIntent);
    std::printf("  illuminant         %.6f %.6f %.6f\n", s15(uint32_t(h.illuminantX)), s15(uint32_t(h.illuminantY)),
                s15(uint32_t(h.illuminantZ)));
    std::printf("  creator            %s\n", sigText(h.creator).c_str());
    std::printf("  profile id         ");
    for (uint8_t b : h.profileId) std::printf("%02x", b);
    std::printf("\n");
}

// A few values of an array, and how many more there are.
template <class T, class Print>
void printValues(const T* values, uint32_t count, Print print) {
    const uint32_t shown = std::min<uint32_t>(count, 9);
    for (uint32_t i = 0; i < shown; ++i) {
        std::printf(i ? " " : "");
        print(values[i]);
    }
    if (count > shown) std::printf(" ... (%u in all)", count);
}

// ---- the compound tag types ----

// 16-bit units (UTF-16) as UTF-8; a lone surrogate becomes U+FFFD.
std::string utf8(const uint16_t* units, size_t n) {
    std::string out;
    for (size_t i = 0; i < n; ++i) {
        uint32_t c = units[i];
        if (c >= 0xD800 && c < 0xDC00 && i + 1 < n && units[i + 1] >= 0xDC00 && units[i + 1] < 0xE000)
            c = 0x10000 + ((c - 0xD800) << 10) + (units[++i] - 0xDC00);
        else if (c >= 0xD800 && c < 0xE000)
            c = 0xFFFD;
        if (c < 0x20) {
            out += ' ';  // line ends and other controls: the value stays on one line
        } else if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | c >> 6);
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | c >> 12);
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | c >> 18);
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

// A two-letter code, zero bytes left out.
std::string code2(uint16_t v) {
    std::string out;
    for (const char c : {static_cast<char>(v >> 8), static_cast<char>(v & 0xFF)})
        if (c) out += (c > 32 && c < 127) ? c : '.';
    return out;
}

// A host-order "mluc": each entry as language_country "text", the strings
// standing one behind the other.
std::string mlucText(const IccMultiLocalizedUnicodeType& m) {
    std::string out;
    uint64_t place = 0;
    for (uint32_t i = 0; i < m.count && i < 4; ++i) {
        const IccMlucEntry& e = m.records[i];
        const std::string text = m.strings ? utf8(m.strings + place / 2, e.length / 2) : "";
        out += (i ? "; " : "") + code2(e.language) + "_" + code2(e.country) + " \"" + text.substr(0, 100) + "\"";
        place += e.length;
    }
    if (m.count > 4) out += "; ... (" + std::to_string(m.count) + " in all)";
    return out.empty() ? "(no text)" : out;
}

// A name of at most 32 bytes, ended by a zero byte when shorter.
std::string name32(const uint8_t* bytes) {
    const auto* text = reinterpret_cast<const char*>(bytes);
    return std::string(text, strnlen(text, 32));
}

const char* codeName(uint32_t v, std::initializer_list<const char*> names) {
    return v < names.size() ? names.begin()[v] : "?";
}
const std::initializer_list<const char*> kIlluminants = {"unknown", "D50", "D65", "D93", "F2",
                                                        "D55",     "A",   "E",   "F8"};

void printXyz(const char* label, const IccXYZNumber& v) {
    std::printf("%s (%.4f %.4f %.4f)", label, static_cast<int32_t>(v.x) / 65536.0, static_cast<int32_t>(v.y) / 65536.0,
                static_cast<int32_t>(v.z) / 65536.0);
}

void printTagValue(const IccTagRecord& r, uint32_t type, uint32_t tagSize) {
    switch (type) {
    case ICC_TYPE_TEXT: {
        // The record has no length: the block holds the tag's bytes behind
        // its head and need not end in a zero. Up to the first zero or line end.
        std::string text;
        const uint32_t length = tagSize - 8;
        for (uint32_t i = 0; i < length && r.text.text[i] && r.text.text[i] != '\n' && text.size() < 100; ++i)
            text += r.text.text[i];
        std::printf("\"%s\"", text.c_str());
        break;
    }
    case ICC_TYPE_DATA:
        std::printf("%s, %u bytes:", r.data.flag == 0 ? "ascii" : "binary", r.data.size);
        printValues(r.data.bytes, std::min<uint32_t>(r.data.size, 16), [](uint8_t b) { std::printf(" %02x", b); });
        break;
    case ICC_TYPE_SIG:
        std::printf("%s", sigText(r.sig.value).c_str());
        break;
    case ICC_TYPE_UINT8:
        printValues(r.uint8Array.values, r.uint8Array.count, [](uint8_t v) { std::printf("%u", v); });
        break;
    case ICC_TYPE_UINT16:
        printValues(r.uint16Array.values, r.uint16Array.count, [](uint16_t v) { std::printf("%u", v); });
        break;
    case ICC_TYPE_UINT32:
        printValues(r.uint32Array.values, r.uint32Array.count, [](uint32_t v) { std::printf("%u", v); });
        break;
    case ICC_TYPE_UINT64:
        printValues(r.uint64Array.values, r.uint64Array.count,
                    [](uint64_t v) { std::printf("%llu", static_cast<unsigned long long>(v)); });
        break;
    case ICC_TYPE_U16F16:
        printValues(r.u16Fixed16Array.values, r.u16Fixed16Array.count, [](uint32_t v) { std::printf("%.5f", s15(v)); });
        break;
    case ICC_TYPE_S15F16:
        // Shown signed: the element holds the encoded number.
        printValues(r.s15Fixed16Array.values, r.s15Fixed16Array.count,
                    [](uint32_t v) { std::printf("%.5f", static_cast<int32_t>(v) / 65536.0); });
        break;
    case ICC_TYPE_XYZ:
        printValues(r.xyz.values, r.xyz.count, [](const IccXYZNumber& v) {
            std::printf("(%.5f %.5f %.5f)", static_cast<int32_t>(v.x) / 65536.0, static_cast<int32_t>(v.y) / 65536.0,
                        static_cast<int32_t>(v.z) / 65536.0);
        });
        break;
    case ICC_TYPE_MLUC:
        std::printf("%s", mlucText(r.mluc).c_str());
        break;
    case ICC_TYPE_PSEQ:
        std::printf("%u profiles", r.profileSequence.count);
        for (uint32_t i = 0; i < r.profileSequence.count && i < 4; ++i) {
            const IccProfileSequenceEntry& e = r.profileSequence.entries[i];
            std::printf("; %s %s %s [%s] [%s]", sigText(e.manufacturer).c_str(), sigText(e.model).c_str(),
                        sigText(e.technology).c_str(), mlucText(e.manufacturerText).c_str(),
                        mlucText(e.modelText).c_str());
        }
        break;
    case ICC_TYPE_RCS2:
        std::printf("%u channels, %u measures:", r.responseCurveSet.channels, r.responseCurveSet.measureCount);
        for (uint32_t i = 0; i < r.responseCurveSet.measureCount && i < 9; ++i)
            std::printf(" %s", sigText(r.responseCurveSet.measures[i].measureType).c_str());
        break;
    case ICC_TYPE_NCL2: {
        const IccNamedColor2Type& n = r.namedColor2;
        std::printf("%u colours, %u device values, prefix \"%s\" suffix \"%s\"", n.count, n.coordinates,
                    name32(n.prefix).c_str(), name32(n.suffix).c_str());
        for (uint32_t i = 0; i < n.count && i < 4; ++i) {
            std::printf("; \"%s\" pcs %u %u %u device ", name32(n.entries[i].name).c_str(), n.entries[i].pcs[0],
                        n.entries[i].pcs[1], n.entries[i].pcs[2]);
            printValues(n.entries[i].device, n.coordinates, [](uint16_t v) { std::printf("%u", v); });
        }
        if (n.count > 4) std::printf("; ...");
        break;
    }
    case ICC_TYPE_CLRT:
        std::printf("%u colorants", r.colorantTable.count);
        for (uint32_t i = 0; i < r.colorantTable.count && i < 9; ++i) {
            const IccColorantEntry& e = r.colorantTable.entries[i];
            std::printf("; \"%s\" pcs %u %u %u", name32(e.name).c_str(), e.pcs[0], e.pcs[1], e.pcs[2]);
        }
        break;
    case ICC_TYPE_CLRO:
        std::printf("order ");
        printValues(r.colorantOrder.order, r.colorantOrder.count, [](uint8_t v) { std::printf("%u", v); });
        break;
    case ICC_TYPE_MEAS: {
        const IccMeasurementType& m = r.measurement;
        std::printf("observer %s, ", codeName(m.observer, {"unknown", "CIE 1931 2 degree", "CIE 1964 10 degree"}));
        printXyz("backing", m.backing);
        std::printf(", geometry %s, flare %.1f%%, illuminant %s",
                    codeName(m.geometry, {"unknown", "0/45 or 45/0", "0/d or d/0"}), m.flare / 655.36,
                    codeName(m.illuminant, kIlluminants));
        break;
    }
    case ICC_TYPE_VIEW:
        printXyz("illuminant", r.viewingConditions.illuminant);
        printXyz(", surround", r.viewingConditions.surround);
        std::printf(", illuminant type %s", codeName(r.viewingConditions.illuminantType, kIlluminants));
        break;
    case ICC_TYPE_CHRM: {
        const IccChromaticityType& c = r.chromaticity;
        std::printf("%s, %u channels:",
                    codeName(c.colorant, {"by values", "ITU-R BT.709", "SMPTE RP145", "EBU Tech. 3213-E", "P22"}),
                    c.channels);
        for (uint32_t i = 0; i < c.channels; ++i)
            std::printf(" (x %.4f y %.4f)", s15(c.values[2 * i]), s15(c.values[2 * i + 1]));
        break;
    }
    case ICC_TYPE_DTIM: {
        const IccDateTimeNumber& d = r.dateTime.dateTime;
        std::printf("%04u-%02u-%02u %02u:%02u:%02u", d.year, d.month, d.day, d.hours, d.minutes, d.seconds);
        break;
    }
    // curves and lookup tables
    case ICC_TYPE_CURVE:
        std::printf("%u points", r.curve.count);
        if (static_cast<int32_t>(r.curve.count) >= 1)
            std::printf(", first %u, last %u", r.curve.points[0], r.curve.points[r.curve.count - 1]);
        break;
    case ICC_TYPE_PARAMETRIC_CURVE:
        std::printf("function %u:", r.parametricCurve.function);
        printValues(r.parametricCurve.parameters, Quv_GetParametricCurveNumberOfParameters(r.parametricCurve.function),
                    [](uint32_t v) { std::printf(" %.5f", static_cast<int32_t>(v) / 65536.0); });
        break;
    case ICC_TYPE_LUT8:
    case ICC_TYPE_LUT16:
        std::printf("%u in, %u out, grid %u, tables %u and %u entries, matrix", r.lut16.inputChannels,
                    r.lut16.outputChannels, r.lut16.gridPoints, r.lut16.inputEntries, r.lut16.outputEntries);
        printValues(r.lut16.matrix, 9, [](uint32_t v) { std::printf(" %.4f", static_cast<int32_t>(v) / 65536.0); });
        break;
    case ICC_TYPE_LUT_A_TO_B:
    case ICC_TYPE_LUT_B_TO_A: {
        const IccLutAToBType& l = r.lutAToB;
        std::printf("%u in, %u out, offsets B %u matrix %u M %u CLUT %u A %u", l.inputChannels, l.outputChannels,
                    l.offsetB, l.offsetMatrix, l.offsetM, l.offsetClut, l.offsetA);
        if (l.clut) {
            const auto* grid = static_cast<const uint8_t*>(l.clut);
            std::printf(", grid");
            for (uint32_t i = 0; i < l.inputChannels && i < 16; ++i) std::printf(" %u", grid[i]);
        }
        if (l.offsetMatrix) {
            std::printf(", matrix");
            printValues(l.matrix, 12, [](uint32_t v) { std::printf(" %.4f", static_cast<int32_t>(v) / 65536.0); });
        }
        break;
    }
    default:
        std::printf("%u bytes, not decoded", r.unknown.size);
        break;
    }
}

void printProfileRecord(IccProfile& profile) {
    printHeader(*profile.header);
    const IccTagEntry* table = profile.tagTable;
    std::printf("\n%d tags\n  %-3s %-6s %10s %10s  %-6s  %s\n", profile.tagCount, "#", "tag", "offset", "size",
                "type", "value");
    for (int i = 0; i < profile.tagCount; ++i) {
        const IccTagEntry row = table[i];
        const uint32_t type = Quv_GetICCTagTypeSig(&profile, row.signature);
        std::printf("  %-3d %-6s %10u %10u  %-6s  ", i, sigText(row.signature).c_str(), row.offset, row.size,
                    sigText(type).c_str());
        // Get reads the first row of a signature; a later twin shows its row only.
        bool first = true;
        for (int j = 0; j < i; ++j) first = first && table[j].signature != row.signature;
        if (!first) {
            std::printf("(signature listed twice)\n");
            continue;
        }
        IccTagRecord record;
        const ClrStatus got = Quv_GetICCTagData(&profile, &record, row.signature);
        if (got == CLR_SUCCESS || got == CLR_TAG_UNKNOWN_SIGNATURE || got == CLR_TAG_UNKNOWN_TYPE ||
            got == CLR_TAG_UNKNOWN_BOTH) {
            printTagValue(record, got == CLR_TAG_UNKNOWN_TYPE || got == CLR_TAG_UNKNOWN_BOTH ? 0 : type, row.size);
            if (got != CLR_SUCCESS) std::printf("  [%s]", statusName(got));
            Quv_FreeICCTagType(&record, type);
        } else {
            std::printf("[%s (%d)]", statusName(got), got);
        }
        std::printf("\n");
    }
}

// The profile inside an image file, decoded into `profile`.
ClrStatus loadImageProfile(const char* path, IccProfile* profile) {
    ClrStatus status = Quv_LoadICCProfileA(path, profile, nullptr);
    if (status == CLR_SUCCESS) status = Quv_FillICCProfileStructure(profile, profile->image, profile->dataSize);
    return status;
}

// An ICC file, or else the profile inside an image file.
int printProfile(const char* path) {
    IccProfile profile;
    Quv_InitICCProfile(&profile, sizeof profile);
    ClrStatus status = Quv_FillICCProfileFromICCFileA(path, &profile);
    if (status == CLR_INVALID_PROFILE || status == CLR_FILE_READ_FAILED) {
        Quv_FreeICCProfile(&profile);
        Quv_InitICCProfile(&profile, sizeof profile);
        status = loadImageProfile(path, &profile);
    }
    if (status != CLR_SUCCESS) {
        std::fprintf(stderr, "quvclr profile: %s: %s (%d)\n", path, statusName(status), status);
        Quv_FreeICCProfile(&profile);
        return 1;
    }
    std::printf("%s: %llu bytes\n", path, static_cast<unsigned long long>(profile.dataSize));
    printProfileRecord(profile);
    Quv_FreeICCProfile(&profile);
    return 0;
}

// The profile bytes of an image file, written to an ICC file.
int extractProfile(const char* image, const char* out) {
    IccProfile profile;
    Quv_InitICCProfile(&profile, sizeof profile);
    ClrStatus status = Quv_LoadICCProfileA(image, &profile, nullptr);
    if (status == CLR_SUCCESS) status = Quv_GenerateICCFileA(&profile, out);
    const auto bytes = static_cast<unsigned long long>(profile.dataSize);
    Quv_FreeICCProfile(&profile);
    if (status != CLR_SUCCESS) {
        std::fprintf(stderr, "quvclr extract: %s: %s (%d)\n", image, statusName(status), status);
        return 1;
    }
    std::printf("wrote the profile of %s, %llu bytes, to %s\n", image, bytes, out);
    return 0;
}

// An ICC file's bytes, put into an image file.
int embedProfile(const char* image, const char* iccFile) {
    IccProfile profile;
    Quv_InitICCProfile(&profile, sizeof profile);
    ClrStatus status = Quv_FillICCProfileFromICCFileA(iccFile, &profile);
    if (status == CLR_SUCCESS) status = Quv_SaveICCProfileA(image, &profile, nullptr);
    const auto bytes = static_cast<unsigned long long>(profile.dataSize);
    Quv_FreeICCProfile(&profile);
    if (status != CLR_SUCCESS) {
        std::fprintf(stderr, "quvclr embed: %s: %s (%d)\n", image, statusName(status), status);
        return 1;
    }
    std::printf("embedded %s, %llu bytes, in %s\n", iccFile, bytes, image);
    return 0;
}

// ---- the embedded profiles ----

const struct {
    uint32_t id;
    const char* role;
} kEmbedded[] = {
    {CLR_EMBEDDED_PROFILE_RGB, "display RGB"},
    {CLR_EMBEDDED_PROFILE_LAB, "Lab identity"},
    {CLR_EMBEDDED_PROFILE_CMYK, "printer CMYK"},
    {CLR_EMBEDDED_PROFILE_CMY, "CMY"},
};

std::vector<uint8_t> embeddedBytes(uint32_t id, ClrStatus* status) {
    int32_t length = 0;
    *status = Quv_ClrGetEmbeddedProfile(id, nullptr, &length);
    if (*status != CLR_SUCCESS) return {};
    std::vector<uint8_t> bytes(static_cast<size_t>(length));
    *status = Quv_ClrGetEmbeddedProfile(id, bytes.data(), &length);
    return bytes;
}

// Without an id: a line of facts for each profile. With one: that profile in
// full, or its bytes written to a file.
int embedded(int argc, char** argv) {
    if (argc == 0) {
        std::printf("%-4s %-13s %8s  %-6s %-6s %-6s %-7s %s\n", "id", "role", "bytes", "class", "space", "pcs",
                    "version", "tags");
        for (const auto& e : kEmbedded) {
            ClrStatus status;
            std::vector<uint8_t> bytes = embeddedBytes(e.id, &status);
            IccProfile profile;
            Quv_InitICCProfile(&profile, sizeof profile);
            if (status == CLR_SUCCESS) status = Quv_FillICCProfileStructure(&profile, bytes.data(), bytes.size());
            if (status != CLR_SUCCESS) {
                std::printf("%-4u %-13s %s (%d)\n", e.id, e.role, statusName(status), status);
            } else {
                const IccHeader& h = *profile.header;
                std::printf("%-4u %-13s %8zu  %-6s %-6s %-6s %u.%u     %d\n", e.id, e.role, bytes.size(),
                            sigText(h.deviceClass).c_str(), sigText(h.colorSpace).c_str(),
                            sigText(h.connectionSpace).c_str(), h.version >> 24, (h.version >> 20) & 15,
                            profile.tagCount);
            }
            Quv_FreeICCProfile(&profile);
        }
        return 0;
    }
    const uint32_t id = static_cast<uint32_t>(std::strtoul(argv[0], nullptr, 10));
    ClrStatus status;
    std::vector<uint8_t> bytes = embeddedBytes(id, &status);
    if (status != CLR_SUCCESS) {
        std::fprintf(stderr, "quvclr embedded: no profile %s: %s (%d)\n", argv[0], statusName(status), status);
        return 1;
    }
    if (argc >= 2) {
        const std::string error = quvclr_tool::writeRaw(argv[1], bytes);
        if (!error.empty()) {
            std::fprintf(stderr, "quvclr embedded: %s\n", error.c_str());
            return 1;
        }
        std::printf("wrote profile %u, %zu bytes, to %s\n", id, bytes.size(), argv[1]);
        return 0;
    }
    IccProfile profile;
    Quv_InitICCProfile(&profile, sizeof profile);
    status = Quv_FillICCProfileStructure(&profile, bytes.data(), bytes.size());
    if (status == CLR_SUCCESS) {
        std::printf("embedded profile %u: %zu bytes\n", id, bytes.size());
        printProfileRecord(profile);
    }
    Quv_FreeICCProfile(&profile);
    return status == CLR_SUCCESS ? 0 : 1;
}

int listSpaces() {
    for (const SpaceName& s : quv::kernels::kSpaces) std::printf("%-7s %u\n", s.name, s.space);
    return 0;
}

std::vector<uint8_t> fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A PNG, JPEG or TIFF through one handle to `dest`, written as an image file
// (with the output profile embedded) or as raw bytes.
int convertImageFile(const std::string& in, const std::string& out, const SpaceName& dest, ClrMethod methodValue,
                     const char* methodText, Method& method) {
    Image image;
    std::string error = quvclr_tool::readImageFile(in, &image);
    if (!error.empty()) {
        std::fprintf(stderr, "quvclr convert: %s\n", error.c_str());
        return 1;
    }
    const SpaceName& source = *findSpace(image.channels == 4 ? "cmyk" : "rgb");
    const bool imageOut = quvclr_tool::formatOfName(out) != quvclr_tool::FileFormat::None;
    if (imageOut && dest.space != ClrSpaceRgb && dest.space != ClrSpaceCmyk) {
        std::fprintf(stderr, "quvclr convert: an image file holds rgb or cmyk, not %s; write raw bytes instead\n",
                     dest.name);
        return 2;
    }
    if (dest.space == ClrSpaceCmyk && quvclr_tool::formatOfName(out) == quvclr_tool::FileFormat::Png) {
        std::fprintf(stderr, "quvclr convert: PNG holds no CMYK; write a TIFF or JPEG\n");
        return 2;
    }
    std::printf("quvclr convert: %s, %d x %d pixels, %s\n", in.c_str(), image.width, image.height, source.name);

    // The profiles: the ones given, else the input's own, else the library's
    // embedded profile of each side (what the transform builder falls back to).
    const uint32_t embeddedIn = source.space == ClrSpaceCmyk ? CLR_EMBEDDED_PROFILE_CMYK : CLR_EMBEDDED_PROFILE_RGB;
    const uint32_t embeddedOut = dest.space == ClrSpaceCmyk ? CLR_EMBEDDED_PROFILE_CMYK : CLR_EMBEDDED_PROFILE_RGB;
    auto role = [](uint32_t id) { return id == CLR_EMBEDDED_PROFILE_CMYK ? "printer CMYK" : "display RGB"; };
    std::vector<uint8_t> outIcc;
    ClrStatus status = CLR_SUCCESS;
    if (methodValue == CLR_METHOD_CUSTOM_ICC) {
        if (method.inProfile.empty()) {
            IccProfile own;
            Quv_InitICCProfile(&own, sizeof own);
            // A grey image read as RGB may carry a grey profile: it cannot serve.
            const uint32_t wanted = source.space == ClrSpaceCmyk ? 0x434D594Bu : 0x52474220u;  // "CMYK", "RGB "
            uint32_t space = 0;
            if (Quv_LoadICCProfileA(in.c_str(), &own, nullptr) == CLR_SUCCESS && own.image && own.dataSize >= 20)
                space = uint32_t(own.image[16]) << 24 | own.image[17] << 16 | own.image[18] << 8 | own.image[19];
            if (space == wanted) {
                method.inProfileBytes.assign(own.image, own.image + own.dataSize);
                std::printf("  source profile: the one embedded in %s, %zu bytes\n", in.c_str(),
                            method.inProfileBytes.size());
            } else if (space) {
                std::printf("  source profile: the one in %s describes %s, not %s; the embedded %s profile stands "
                            "in\n", in.c_str(), sigText(space).c_str(), source.name, role(embeddedIn));
            } else {
                std::printf("  source profile: %s holds none and no --in-profile was given; the embedded %s "
                            "profile stands in\n", in.c_str(), role(embeddedIn));
            }
            Quv_FreeICCProfile(&own);
        }
        if (!method.outProfile.empty()) {
            outIcc = fileBytes(method.outProfile);
            if (outIcc.empty()) {
                std::fprintf(stderr, "quvclr convert: cannot read %s\n", method.outProfile.c_str());
                return 1;
            }
        } else {
            // Given as bytes, so that the library's own stand-in serves the source side.
            method.outProfileBytes = outIcc = embeddedBytes(embeddedOut, &status);
            std::printf("  destination profile: none given; the embedded %s profile stands in\n", role(embeddedOut));
        }
    }
    if (methodValue == CLR_METHOD_ICC && imageOut) outIcc = embeddedBytes(embeddedOut, &status);

    std::vector<uint8_t> converted(imageBytes(dest.space, image.width, image.height));
    ClrHandle* handle = nullptr;
    status = makeHandle(method, source.space, dest.space, false, &handle);
    if (status == CLR_SUCCESS)
        status = Quv_ClrConvert(handle, image.bytes.data(), converted.data(), image.width, image.height, 0, 0);
    if (handle) Quv_ClrFree(handle);
    std::printf("  %s -> %s by %s: %s (%d)\n", source.name, dest.name, methodText, statusName(status), status);
    if (status < 0) {
        std::fprintf(stderr, "quvclr convert: %s: %s (%d)\n", in.c_str(), statusName(status), status);
        return 1;
    }
    if (out.empty()) return 0;
    Image result{image.width, image.height, std::move(converted), dest.space == ClrSpaceCmyk ? 4 : 3};
    error = imageOut ? quvclr_tool::writeImageFile(out, result, outIcc) : quvclr_tool::writeRaw(out, result.bytes);
    if (!error.empty()) {
        std::fprintf(stderr, "quvclr convert: %s\n", error.c_str());
        return 1;
    }
    std::printf("  wrote %s%s\n", out.c_str(), outIcc.empty() ? "" : ", its profile embedded");
    return 0;
}

int convert(int argc, char** argv) {
    std::string from = "rgb", to = "yuv", in, out, size, gcr;
    bool fromGiven = false;
    Method method;
    for (int i = 0; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg[0] != '-' && in.empty()) {
            in = arg;
            continue;
        }
        fromGiven = fromGiven || arg == "--from";
        auto value = [&](std::string* target) {
            if (i + 1 >= argc) return false;
            *target = argv[++i];
            return true;
        };
        bool ok = (arg == "--from" && value(&from)) || (arg == "--to" && value(&to)) ||
                  (arg == "--in" && value(&in)) || (arg == "--out" && value(&out)) ||
                  (arg == "--size" && value(&size)) || (arg == "--method" && value(&method.name)) ||
                  (arg == "--in-profile" && value(&method.inProfile)) ||
                  (arg == "--out-profile" && value(&method.outProfile)) || (arg == "--table" && value(&method.table)) ||
                  (arg == "--gcr" && value(&gcr));
        if (!ok) {
            std::fprintf(stderr, "quvclr convert: unknown or incomplete option %s\n", arg.c_str());
            usage("convert");
            return 2;
        }
    }
    const SpaceName* source = findSpace(from);
    const SpaceName* dest = findSpace(to);
    if (!source || !dest) {
        std::fprintf(stderr, "quvclr convert: unknown space %s\n", source ? to.c_str() : from.c_str());
        return 2;
    }
    ClrMethod methodValue;
    const char* methodText = nullptr;
    if (!methodFlag(method.name, &methodValue, &methodText)) {
        std::fprintf(stderr, "quvclr convert: unknown method %s\n", method.name.c_str());
        return 2;
    }
    if (!gcr.empty()) method.gcr = std::atoi(gcr.c_str());

    if (!in.empty() && quvclr_tool::formatOfContent(in) != quvclr_tool::FileFormat::None) {
        if (fromGiven) {
            std::fprintf(stderr, "quvclr convert: an image file brings its own space; leave out --from\n");
            return 2;
        }
        return convertImageFile(in, out, *dest, methodValue, methodText, method);
    }

    Image image;
    std::string error;
    if (in.empty()) {
        if (source->space != ClrSpaceRgb) {
            std::fprintf(stderr, "quvclr convert: the built-in chart is rgb; give --in for %s\n", from.c_str());
            return 2;
        }
        image = quvclr_tool::colourChart();
    } else if (source->space == ClrSpaceRgb) {
        error = quvclr_tool::readPpm(in, &image);
    } else {
        if (std::sscanf(size.c_str(), "%dx%d", &image.width, &image.height) != 2 || image.width < 1 ||
            image.height < 1) {
            std::fprintf(stderr, "quvclr convert: a raw input needs --size WxH\n");
            return 2;
        }
        error = quvclr_tool::readRaw(in, imageBytes(source->space, image.width, image.height), &image.bytes);
    }
    if (!error.empty()) {
        std::fprintf(stderr, "quvclr convert: %s\n", error.c_str());
        return 1;
    }

    RoundTrip r = roundTrip(image.bytes, image.width, image.height, *source, *dest, method);
    std::printf("quvclr convert: %s, %d x %d pixels\n", in.empty() ? "built-in chart" : in.c_str(), image.width,
                image.height);
    std::printf("  %s -> %s by %s: %s (%d)\n", from.c_str(), to.c_str(), methodText, statusName(r.forward),
                r.forward);
    std::printf("  %s -> %s back: %s (%d)\n", to.c_str(), from.c_str(), statusName(r.back), r.back);
    if (source->channels) {
        std::printf("  round-trip error per channel, max and mean:");
        printErrors(r, source->channels);
    }
    if (!out.empty()) {
        Image result{image.width, image.height, r.converted};
        error = dest->space == ClrSpaceRgb ? quvclr_tool::writePpm(out, result) : quvclr_tool::writeRaw(out, r.converted);
        if (!error.empty()) {
            std::fprintf(stderr, "quvclr convert: %s\n", error.c_str());
            return 1;
        }
        std::printf("  wrote %s\n", out.c_str());
    }
    return r.forward < 0 ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return chartTour();
    const std::string verb = argv[1];
    if (verb == "--help" || verb == "-h" || verb == "help") {
        usage();
        return 0;
    }
    bool known = false;
    for (const auto& h : kHelp) known = known || (verb == h.verb);
    if (!known) {
        std::fprintf(stderr, "quvclr: unknown command %s (quvclr --help lists them)\n", verb.c_str());
        return 2;
    }
    if (wantsHelp(argc - 2, argv + 2)) {
        usage(verb);
        return 0;
    }
    if (verb == "convert") return convert(argc - 2, argv + 2);
    if (verb == "spaces") return listSpaces();
    if (verb == "embedded") return embedded(argc - 2, argv + 2);
    if ((verb == "profile" && argc != 3) || ((verb == "extract" || verb == "embed") && argc != 4)) {
        usage(verb);
        return 2;
    }
    if (verb == "profile") return printProfile(argv[2]);
    if (verb == "extract") return extractProfile(argv[2], argv[3]);
    return embedProfile(argv[2], argv[3]);
}
