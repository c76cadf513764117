// The quvclr program on PNG, JPEG and TIFF files made by ImageMagick, its
// pixels judged by ImageMagick's own `-profile` conversion of the same files.
#include "test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

const std::string kTool = QUVCLR_TOOL;
const std::string kSrgb = quvtest::kSrgbPath;
const std::string kAdobe = "/usr/share/color/icc/colord/AdobeRGB1998.icc";
const auto slurp = quvtest::readFile;

class Tool : public testing::Test {
protected:
    static void SetUpTestSuite() {
        char pattern[] = "/tmp/quvclr_tool_XXXXXX";
        dir_ = mkdtemp(pattern);
        // press.icc and display.icc are the library's own CMYK and RGB profiles.
        const std::string made = "cd " + dir_ + " && " + kTool + " embedded 107 press.icc >/dev/null" +
                                 " && convert rose: -resize 64x48! photo.ppm" +
                                 " && convert photo.ppm -profile " + kAdobe + " photo.jpg" +
                                 " && convert photo.ppm -profile " + kSrgb + " -profile press.icc cmyk.jpg" +
                                 " && convert photo.ppm -colorspace gray -strip grey.png" +
                                 " && convert photo.ppm -depth 16 PNG48:deep.png && convert photo.ppm -depth 16 deep.tif" +
                                 " && head -c 3000 photo.jpg > cut.jpg && convert photo.ppm photo.png" +
                                 " && head -c 3000 photo.png > cut.png && convert photo.ppm photo.tif && head -c 5000 photo.tif > cut.tif";
        ASSERT_EQ(std::system(made.c_str()), 0) << made;
    }
    static void TearDownTestSuite() { fs::remove_all(dir_); }

    static std::string at(const std::string& name) { return dir_ + "/" + name; }
    // Runs a command in the directory; its exit status, its output in `out` and `err`.
    static int run(const std::string& command) {
        return std::system(("cd " + dir_ + " && " + command + " >out 2>err").c_str());
    }
    // The 8-bit samples ImageMagick reads from `file` after the options.
    static std::vector<uint8_t> pixels(const std::string& file, const std::string& options) {
        EXPECT_EQ(run("convert " + file + " " + options + " rgb:pixels"), 0) << file;
        return slurp(at("pixels"));
    }

    static std::string text(const std::string& name) {
        const std::vector<uint8_t> bytes = slurp(at(name));
        return {bytes.begin(), bytes.end()};
    }

    static inline std::string dir_;
};

struct ImageJob {
    const char* name;
    std::string arguments;  // to quvclr, writing out.*
    std::string oracle;     // to ImageMagick's convert, the same job, writing oracle.*
    std::string look;       // how both outputs are read back to compare: rgb through their embedded profiles
    std::string profile;    // what the output must carry
    const char* says;       // in the program's output
    int tolerance;
};

// ImageMagick (Q16) runs lcms2 on 16-bit samples and rounds once; the library
// runs it on 8-bit ones, where lcms2 interpolates a precalculated table. The
// RGB results differ by a count or two. CMYK separations differ more, since
// several ink mixes make one colour, so those are judged after going back to
// RGB through the profile each file carries.
const ImageJob kJobs[] = {
    {"JpegToCmykTiff", "photo.jpg --to cmyk --method custom --out-profile press.icc --out out.tif",
     "photo.jpg -profile press.icc oracle.tif", "-profile " + kSrgb, "press.icc", "the one embedded in photo.jpg", 3},
    {"CmykJpegToPng", "cmyk.jpg --to rgb --method custom --out-profile " + kSrgb + " --out out.png",
     "cmyk.jpg -profile " + kSrgb + " oracle.png", "", kSrgb, "the one embedded in cmyk.jpg", 2},
    {"GreyPngWithoutProfile", "grey.png --to rgb --method custom --out-profile " + kAdobe + " --out out.tif",
     "grey.png -type TrueColor -profile display.icc -profile " + kAdobe + " oracle.tif", "", kAdobe,
     "the embedded display RGB profile stands in", 1},
};

TEST_F(Tool, ConvertsImageFilesAsImageMagickDoes) {
    ASSERT_EQ(run(kTool + " embedded 105 display.icc"), 0);
    for (const ImageJob& job : kJobs) {
        SCOPED_TRACE(job.name);
        const std::string ext = job.arguments.substr(job.arguments.size() - 4);
        ASSERT_EQ(run(kTool + " convert " + job.arguments), 0) << job.arguments;
        EXPECT_NE(text("out").find(job.says), std::string::npos) << text("out");
        ASSERT_EQ(run("convert " + job.oracle), 0) << job.oracle;
        const std::vector<uint8_t> ours = pixels("out" + ext, job.look);
        const std::vector<uint8_t> theirs = pixels("oracle" + ext, job.look);
        ASSERT_EQ(ours.size(), theirs.size());
        ASSERT_FALSE(ours.empty());
        int worst = 0;
        for (size_t i = 0; i < ours.size(); ++i) worst = std::max(worst, std::abs(int(ours[i]) - int(theirs[i])));
        EXPECT_LE(worst, job.tolerance);
        ASSERT_EQ(run("exiftool -b -icc_profile out" + ext), 0);
        EXPECT_EQ(slurp(at("out")), slurp(job.profile[0] == '/' ? job.profile : at(job.profile)));
    }
}

TEST_F(Tool, RefusesBadInputsInOneLineWithoutWritingAFile) {
    const struct {
        const char* input;
        const char* says;
    } rows[] = {
        {"deep.png", "16-bit samples are not supported"},
        {"deep.tif", "16-bit samples are not supported"},
        {"cut.jpg", "cut.jpg: "},
        {"cut.png", "cut.png: "},
        {"cut.tif", "cut.tif: "},
        {"press.icc", "not a PNG, JPEG, TIFF"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.input);
        EXPECT_NE(run(kTool + " convert " + row.input + " --to rgb --out refused.tif"), 0);
        const std::string err = text("err");
        EXPECT_NE(err.find(row.says), std::string::npos) << err;
        EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 1) << err;
        for (const auto& entry : fs::directory_iterator(dir_))
            EXPECT_NE(entry.path().filename().string().rfind("refused", 0), 0u) << entry.path();
    }
}

}  // namespace
