// Profiles in image files, judged by files and readings of tools nobody here
// wrote: ImageMagick, exiftool, cwebp/webpmux, djpeg/dwebp, and the profiles
// of /usr/share/color.
#include "containers/readers.h"
#include "icc_support.h"
#include "platform/module_loader.h"
#include "test_support.h"

#include <quvclr/imagefile.h>

#include <gtest/gtest.h>

#include <filesystem>

using quvtest::ScopedProfile;
namespace fs = std::filesystem;

namespace {

const std::string kSmall = "/usr/share/color/icc/sRGB.icc";                          // 6922 bytes
const std::string kOther = "/usr/share/color/icc/compatibleWithAdobeRGB1998.icc";  // 580 bytes
const std::string kLarge = "/usr/share/color/icc/ITULab.icc";  // 431756 bytes: seven APP2 chunks

const auto slurp = quvtest::readFile;
std::u16string wide(const std::string& s) { return std::u16string(s.begin(), s.end()); }

class ImageFiles : public testing::Test {
protected:
    static void SetUpTestSuite() {
        char pattern[] = "/tmp/quvclr_images_XXXXXX";
        dir_ = mkdtemp(pattern);
        quv::testing::setModuleDirectory(QUVCLR_MODULE_DIR);
        const std::string made = "cd " + dir_ +
                                 " && convert -size 64x48 gradient:red-blue base.ppm"
                                 " && convert base.ppm -profile " + kSmall + " small.jpg"
                                 " && convert base.ppm -profile " + kLarge + " large.jpg"
                                 " && convert base.ppm -profile " + kSmall + " small.tif"
                                 " && convert base.ppm -profile " + kSmall + " small.png"
                                 " && convert base.ppm plain.png"
                                 " && convert base.ppm plain.jpg"
                                 " && convert base.ppm -profile " + kSmall + " small.psd"
                                 " && convert base.ppm plain.gif"
                                 " && cwebp -quiet base.ppm -o plain.webp"
                                 " && webpmux -set icc " + kSmall + " plain.webp -o small.webp >/dev/null 2>&1"
                                 " && head -c 581 " + kSmall + " > odd.icc"
                                 " && webpmux -set icc odd.icc plain.webp -o odd.webp >/dev/null 2>&1";
        ASSERT_EQ(std::system(made.c_str()), 0) << made;
    }
    static void TearDownTestSuite() { fs::remove_all(dir_); }

    static std::string at(const std::string& name) { return dir_ + "/" + name; }
    // A working copy of a fixture that a test may change.
    static std::string copy(const std::string& name) {
        const std::string target = at("work_" + name);
        fs::copy_file(at(name), target, fs::copy_options::overwrite_existing);
        return target;
    }
    static std::vector<uint8_t> load(const std::string& path, ClrStatus* status) {
        ScopedProfile p;
        *status = Quv_LoadICCProfileA(path.c_str(), p.get(), nullptr);
        return p->image ? std::vector<uint8_t>(p->image, p->image + p->dataSize) : std::vector<uint8_t>{};
    }
    // What a tool says: its standard output.
    static std::vector<uint8_t> tool(const std::string& command) {
        const std::string out = at("tool.out");
        EXPECT_EQ(std::system((command + " > " + out + " 2>/dev/null").c_str()), 0) << command;
        return slurp(out);
    }
    static std::vector<uint8_t> exifIcc(const std::string& path) { return tool("exiftool -b -icc_profile " + path); }
    static std::vector<uint8_t> pixels(const std::string& path) { return tool("convert " + path + " rgb:-"); }

    static inline std::string dir_;
};

TEST_F(ImageFiles, LoadGivesTheBytesTheToolEmbedded) {
    std::vector<uint8_t> odd = slurp(at("odd.icc"));
    odd.push_back(0);  // the RIFF pad byte is counted
    const struct {
        const char* file;
        std::vector<uint8_t> profile;
        bool whole = true;  // a complete ICC profile, which decodes
    } cases[] = {
        {"small.jpg", slurp(kSmall)}, {"large.jpg", slurp(kLarge)}, {"small.tif", slurp(kSmall)},
        {"small.png", slurp(kSmall)}, {"small.psd", slurp(kSmall)}, {"small.webp", slurp(kSmall)},
        {"odd.webp", odd, false},
    };
    for (const auto& c : cases) {
        ScopedProfile p;
        ASSERT_EQ(Quv_LoadICCProfileA(at(c.file).c_str(), p.get(), nullptr), CLR_SUCCESS) << c.file;
        EXPECT_EQ(std::vector<uint8_t>(p->image, p->image + p->dataSize), c.profile) << c.file;
        EXPECT_EQ(Quv_HasICCProfile(wide(at(c.file)).c_str(), nullptr), 1) << c.file;
        if (c.whole) {
            EXPECT_EQ(Quv_FillICCProfileStructure(p.get(), p->image, p->dataSize), CLR_SUCCESS) << c.file;
        }
    }
}

TEST_F(ImageFiles, StatusesOfLoadAndSave) {
    ScopedProfile p;
    EXPECT_EQ(Quv_LoadICCProfileA(nullptr, p.get(), nullptr), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_LoadICCProfileA(at("plain.png").c_str(), nullptr, nullptr), CLR_INVALID_PARAMETER);
    EXPECT_EQ(Quv_LoadICCProfileA(at("nothing.jpg").c_str(), p.get(), nullptr), CLR_FILE_NOT_FOUND);
    EXPECT_EQ(Quv_LoadICCProfileA(at("base.ppm").c_str(), p.get(), nullptr), CLR_FORMAT_HOLDS_NO_PROFILE);
    EXPECT_EQ(Quv_SaveICCProfileA(at("small.png").c_str(), p.get(), nullptr), CLR_FORMAT_HOLDS_NO_PROFILE);
    EXPECT_EQ(Quv_SaveICCProfileA(at("small.psd").c_str(), p.get(), nullptr), CLR_FORMAT_HOLDS_NO_PROFILE);
    EXPECT_EQ(Quv_HasICCProfileA(at("plain.webp").c_str(), nullptr), 0);
    // A record's data come back when a reader finds nothing without failing
    // (JPEG); a reader that reports -812 itself (PNG, WebP) does not give
    // them back.
    for (const char* none : {"plain.jpg", "plain.png", "plain.webp"}) {
        ScopedProfile held;
        ASSERT_EQ(Quv_FillICCProfileFromICCFileA(kOther.c_str(), held.get()), CLR_SUCCESS);
        uint8_t* const image = held->image;
        EXPECT_EQ(Quv_LoadICCProfileA(at(none).c_str(), held.get(), nullptr), CLR_NO_PROFILE_IN_FILE) << none;
        const bool back = std::string(none) == "plain.jpg";
        EXPECT_EQ(static_cast<uint8_t*>(held->image), back ? image : nullptr) << none;
        EXPECT_EQ(uint64_t{held->dataSize}, back ? 580u : 0u) << none;
    }
    IccProfile wrongSize{};
    wrongSize.structSize = 55;
    EXPECT_EQ(Quv_LoadICCProfileA(at("small.jpg").c_str(), &wrongSize, nullptr), CLR_INVALID_STRUCT_SIZE);
    EXPECT_EQ(Quv_SaveICCProfileA(at("small.jpg").c_str(), &wrongSize, nullptr), CLR_INVALID_STRUCT_SIZE);
}

// After a save, exiftool finds exactly the saved profile and the pixels
// decode as before; a profile already there is replaced, not joined.
TEST_F(ImageFiles, SavedProfilesAreWhatToolsRead) {
    // Each file takes the large profile (a WebP chunk grows), then the small
    // one (it shrinks).
    for (const char* file : {"small.jpg", "large.jpg", "small.tif", "small.webp", "plain.webp", "odd.webp"}) {
        const std::string path = copy(file);
        for (const std::string& icc : {kLarge, kOther}) {
            ScopedProfile p;
            ASSERT_EQ(Quv_FillICCProfileFromICCFileA(icc.c_str(), p.get()), CLR_SUCCESS);
            ASSERT_EQ(Quv_SaveICCProfileA(path.c_str(), p.get(), nullptr), CLR_SUCCESS) << file << " " << icc;
            EXPECT_EQ(exifIcc(path), slurp(icc)) << file << " " << icc;
        }
        EXPECT_EQ(pixels(path), pixels(at(file))) << file;
    }
    // libjpeg decodes the rewritten file to the same samples.
    const std::string jpeg = copy("small.jpg");
    ScopedProfile p;
    ASSERT_EQ(Quv_FillICCProfileFromICCFileA(kLarge.c_str(), p.get()), CLR_SUCCESS);
    ASSERT_EQ(Quv_SaveICCProfileA(jpeg.c_str(), p.get(), nullptr), CLR_SUCCESS);
    EXPECT_EQ(tool("djpeg " + jpeg), tool("djpeg " + at("small.jpg")));
}

// GIF: the extension replaces the trailer, sub-blocks of 255, then a new
// trailer; a second save adds a second extension. exiftool lists it.
TEST_F(ImageFiles, GifGetsTheApplicationExtension) {
    const std::string path = copy("plain.gif");
    std::vector<uint8_t> expected = slurp(path);
    const std::vector<uint8_t> icc = slurp(kOther);  // 580 = 2 x 255 + 70
    ScopedProfile p;
    ASSERT_EQ(Quv_FillICCProfileFromICCFileA(kOther.c_str(), p.get()), CLR_SUCCESS);
    for (int save = 0; save < 2; ++save) {
        ASSERT_EQ(Quv_SaveICCProfileA(path.c_str(), p.get(), nullptr), CLR_SUCCESS);
        expected.pop_back();
        const uint8_t head[] = {0x21, 0xFF, 0x0B, 'I', 'C', 'C', 'R', 'G', 'B', 'G', '1', 0, 1, 2};
        expected.insert(expected.end(), std::begin(head), std::end(head));
        for (size_t at = 0; at < icc.size(); at += 255) {
            const size_t n = std::min<size_t>(255, icc.size() - at);
            expected.push_back(static_cast<uint8_t>(n));
            expected.insert(expected.end(), icc.begin() + at, icc.begin() + at + n);
        }
        expected.push_back(0);
        expected.push_back(';');
    }
    EXPECT_EQ(slurp(path), expected);
    EXPECT_EQ(pixels(path), pixels(at("plain.gif")));
}

// One chunk holds 65519 bytes; 65520 are taken in one chunk too long for a
// segment, which is refused with the file left as it was.
TEST_F(ImageFiles, JpegChunkBoundaries) {
    const std::vector<uint8_t> large = slurp(kLarge);
    for (const size_t size : {size_t{65519}, size_t{65520}, size_t{65532}, size_t{65533}, size_t{131038}}) {
        const std::string path = copy("small.jpg");
        const std::vector<uint8_t> before = slurp(path);
        IccProfile p{};
        p.structSize = ICC_PROFILE_STRUCT_SIZE;
        p.image = const_cast<uint8_t*>(large.data());
        p.dataSize = size;
        const ClrStatus saved = Quv_SaveICCProfileA(path.c_str(), &p, nullptr);
        if (size == 65520 || size == 65532) {
            EXPECT_EQ(saved, CLR_INVALID_PARAMETER) << size;
            EXPECT_EQ(slurp(path), before) << size;
        } else {
            EXPECT_EQ(saved, CLR_SUCCESS) << size;
            EXPECT_EQ(exifIcc(path), std::vector<uint8_t>(large.begin(), large.begin() + size)) << size;
        }
    }
}

TEST_F(ImageFiles, JpegChunksJoinInFileOrder) {
    const std::vector<uint8_t> jpeg = slurp(at("small.jpg"));
    std::vector<uint8_t> made = {0xFF, 0xD8};
    for (const char* part : {"second", "first"}) {
        const std::string payload = std::string("ICC_PROFILE") + '\0' + (part[0] == 'f' ? '\1' : '\2') + '\2' + part;
        made.insert(made.end(), {0xFF, 0xE2, 0, static_cast<uint8_t>(payload.size() + 2)});
        made.insert(made.end(), payload.begin(), payload.end());
    }
    made.insert(made.end(), jpeg.begin() + 2, jpeg.end());
    ScopedProfile p;
    ASSERT_EQ(quv::readProfileFromMemory(made.data(), made.size(), p.get()), CLR_SUCCESS);
    // The file's own chunk of sRGB follows the two made ones.
    EXPECT_EQ(std::string(p->image, p->image + 11), "secondfirst");
}

// EPS: an 80-byte staging area that is never emptied at the end comment.
TEST_F(ImageFiles, EpsHexComments) {
    auto eps = [](size_t bytes, const char* eol) {
        std::string text = "%!PS-Adobe-3.0 EPSF-3.0";
        text.append(eol).append("%%BeginICCProfile: (p) -1 Hex").append(eol);
        for (size_t i = 0; i < bytes; ++i) {
            if (i % 32 == 0) text.append(i ? eol : "").append("% ");
            text.append(1, 'a').append(1, char('0' + i % 10));
        }
        text.append(eol).append("%%EndICCProfile").append(eol).append("%%EOF").append(eol);
        return std::vector<uint8_t>(text.begin(), text.end());
    };
    const struct {
        std::vector<uint8_t> file;
        ClrStatus status;
        size_t bytes;
    } cases[] = {
        {eps(160, "\r\n"), CLR_SUCCESS, 80},  {eps(161, "\r\n"), CLR_SUCCESS, 160},
        {eps(2000, "\r\n"), CLR_SUCCESS, 1920}, {eps(160, "\n"), CLR_PROFILE_DATA_TRUNCATED, 0},
        {std::vector<uint8_t>(30, ' '), CLR_NO_PROFILE_IN_FILE, 0},
    };
    for (const auto& c : cases) {
        ScopedProfile p;
        quv::MemorySource source(c.file.data(), c.file.size());
        EXPECT_EQ(quv::readContainerProfile(source, quv::kFormatEps, p.get()), c.status);
        EXPECT_EQ(uint64_t{p->dataSize}, c.bytes);
        for (size_t i = 0; i < p->dataSize; ++i) ASSERT_EQ(p->image[i], 0xA0 + i % 10) << i;
    }
}

TEST_F(ImageFiles, ChunkedStreamAndPsdResources) {
    // Records: payload, an unknown kind (skipped), payload, end.
    const std::vector<uint8_t> stream = {0xE0, 0, 7, 0, 0, 0, 0, 'a', 'b', 'c', 0xE0, 0, 4, 0, 0, 0, 9,
                                         0xE0, 0, 6, 0, 0, 0, 1, 'd', 'e', 0xE0, 0, 4, 0, 0, 0, 2};
    ScopedProfile p;
    ASSERT_EQ(quv::readProfileFromMemory(stream.data(), stream.size(), p.get()), CLR_SUCCESS);
    EXPECT_EQ(std::string(p->image, p->image + p->dataSize), "abcde");
    ScopedProfile cut;
    EXPECT_EQ(quv::readProfileFromMemory(stream.data(), 26, cut.get()), CLR_PROFILE_DATA_TRUNCATED);

    // PSD: an odd-sized resource is skipped with its pad byte.
    std::vector<uint8_t> psd = {'8', 'B', 'P', 'S', 0, 1};
    psd.resize(26);
    psd.insert(psd.end(), {0, 0, 0, 0, 0, 0, 0, 30});
    psd.insert(psd.end(), {'8', 'B', 'I', 'M', 0x04, 0x04, 0, 0, 0, 0, 0, 3, 'x', 'y', 'z', 0});
    psd.insert(psd.end(), {'8', 'B', 'I', 'M', 0x04, 0x0F, 0, 0, 0, 0, 0, 2, 'O', 'K'});
    ScopedProfile fromPsd;
    ASSERT_EQ(quv::readProfileFromMemory(psd.data(), psd.size(), fromPsd.get()), CLR_SUCCESS);
    EXPECT_EQ(std::string(fromPsd->image, fromPsd->image + fromPsd->dataSize), "OK");
    psd[psd.size() - 3] = 0x7F;  // a size the file cannot fill
    ScopedProfile lying;
    EXPECT_EQ(quv::readProfileFromMemory(psd.data(), psd.size(), lying.get()), CLR_PROFILE_DATA_TRUNCATED);
}

// Files cut anywhere or with lengths that lie give a failure, or the whole
// profile when the cut lies behind it; never a crash, a hang or a read
// outside the input (run under AddressSanitizer).
TEST_F(ImageFiles, HostileFilesGiveStatuses) {
    const std::vector<uint8_t> icc = slurp(kSmall);
    for (const char* file : {"small.jpg", "small.tif", "small.psd", "small.webp"}) {
        const std::vector<uint8_t> whole = slurp(at(file));
        for (size_t cut = 0; cut < whole.size(); cut += 1 + cut / 8) {
            const std::vector<uint8_t> part(whole.begin(), whole.begin() + cut);
            ScopedProfile p;
            const ClrStatus status = quv::readProfileFromMemory(part.data(), part.size(), p.get());
            if (status == CLR_SUCCESS)
                EXPECT_EQ(std::vector<uint8_t>(p->image, p->image + p->dataSize), icc) << file << " " << cut;
            else
                EXPECT_LT(status, 1) << file << " " << cut;
        }
    }
    std::vector<uint8_t> webp = slurp(at("small.webp"));
    webp[12 + 18 + 4 + 3] = 0x7F;  // the ICCP chunk claims 2 GiB
    ScopedProfile p;
    EXPECT_EQ(quv::readProfileFromMemory(webp.data(), webp.size(), p.get()), CLR_RIFF_CHUNK_OVERRUN);
}

TEST_F(ImageFiles, ToolExtractsAndEmbeds) {
    const std::string out = at("out.icc"), jpeg = copy("small.jpg");
    const std::string tool = QUVCLR_TOOL;
    ASSERT_EQ(std::system((tool + " embed " + jpeg + " " + kOther + " >/dev/null").c_str()), 0);
    ASSERT_EQ(std::system((tool + " extract " + jpeg + " " + out + " >/dev/null").c_str()), 0);
    EXPECT_EQ(slurp(out), slurp(kOther));
}

}  // namespace
