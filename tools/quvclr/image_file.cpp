// PNG, JPEG and TIFF pixels through libpng, libjpeg and libtiff; the ICC
// profile of a TIFF or JPEG output is written by the library itself.
#include "image.h"

#include <quvclr/quvclr.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include <jpeglib.h>
#include <png.h>
#include <tiffio.h>
#include <unistd.h>

namespace quvclr_tool {
namespace {

// No codec here expands its input more than about 4096 times (LZW at its
// best; deflate and JPEG stay well below), so a header promising more pixels
// than that is refused before anything is allocated; 1 GiB caps the rest.
constexpr uint64_t kMaxExpansion = 4096;
constexpr uint64_t kMaxImageBytes = uint64_t(1) << 30;

std::string sizeError(const std::string& path, uint64_t width, uint64_t height, int channels) {
    std::error_code ec;
    const uint64_t fileBytes = std::filesystem::file_size(path, ec);
    const uint64_t bytes = width * height * channels;
    if (width == 0 || height == 0 || width > INT32_MAX || height > INT32_MAX) return path + ": bad image size";
    if (ec || bytes / channels / width != height || bytes > kMaxImageBytes || bytes / kMaxExpansion > fileBytes)
        return path + ": image size " + std::to_string(width) + " x " + std::to_string(height) +
               " is more than the file can hold";
    return {};
}

std::string sixteenBits(const std::string& path, int bits) {
    return path + ": " + std::to_string(bits) + "-bit samples are not supported; convert it to 8 bits first";
}

struct FileCloser {
    void operator()(FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<FILE, FileCloser>;

// ---- PNG ----

void pngError(png_structp png, png_const_charp message) {
    auto* error = static_cast<std::string*>(png_get_error_ptr(png));
    *error = message;
    png_longjmp(png, 1);
}
void pngWarning(png_structp, png_const_charp) {}

std::string readPng(const std::string& path, Image* image) {
    File file(std::fopen(path.c_str(), "rb"));
    if (!file) return "cannot open " + path;
    std::string error;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &error, pngError, pngWarning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    std::vector<png_bytep> rows;
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        return path + ": " + (error.empty() ? "out of memory" : error);
    }
    png_init_io(png, file.get());
    png_read_info(png, info);
    const int bits = png_get_bit_depth(png, info);
    if (bits == 16) {
        png_destroy_read_struct(&png, &info, nullptr);
        return sixteenBits(path, bits);
    }
    error = sizeError(path, png_get_image_width(png, info), png_get_image_height(png, info), 3);
    if (!error.empty()) {
        png_destroy_read_struct(&png, &info, nullptr);
        return error;
    }
    // Palettes and small greys to 8-bit, grey to RGB, alpha dropped.
    png_set_expand(png);
    png_set_gray_to_rgb(png);
    png_set_strip_alpha(png);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    image->width = static_cast<int32_t>(png_get_image_width(png, info));
    image->height = static_cast<int32_t>(png_get_image_height(png, info));
    image->channels = 3;
    image->bytes.resize(size_t(image->width) * image->height * 3);
    rows.resize(image->height);
    for (int32_t y = 0; y < image->height; ++y) rows[y] = &image->bytes[size_t(y) * image->width * 3];
    png_read_image(png, rows.data());
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    return {};
}

std::string writePng(FILE* file, const Image& image, const std::vector<uint8_t>& icc) {
    if (image.channels != 3) return "PNG holds no CMYK; write a TIFF or JPEG";
    std::string error;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &error, pngError, pngWarning);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info || setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return error.empty() ? "out of memory" : error;
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, image.width, image.height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    if (!icc.empty())
        png_set_iCCP(png, info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, icc.data(), static_cast<png_uint_32>(icc.size()));
    png_write_info(png, info);
    for (int32_t y = 0; y < image.height; ++y) png_write_row(png, &image.bytes[size_t(y) * image.width * 3]);
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return {};
}

// ---- JPEG ----

struct JpegError {
    jpeg_error_mgr manager;
    std::jmp_buf jump;
    char message[JMSG_LENGTH_MAX];
};

void jpegExit(j_common_ptr cinfo) {
    auto* e = reinterpret_cast<JpegError*>(cinfo->err);
    e->manager.format_message(cinfo, e->message);
    std::longjmp(e->jump, 1);
}
// A warning (a premature end among them) is kept: a damaged file is refused.
void jpegMessage(j_common_ptr cinfo, int level) {
    auto* e = reinterpret_cast<JpegError*>(cinfo->err);
    if (level < 0 && e->manager.num_warnings++ == 0) e->manager.format_message(cinfo, e->message);
}

std::string readJpeg(const std::string& path, Image* image) {
    File file(std::fopen(path.c_str(), "rb"));
    if (!file) return "cannot open " + path;
    jpeg_decompress_struct cinfo{};  // zeroed: destroying it before creation is then harmless
    JpegError err{};
    cinfo.err = jpeg_std_error(&err.manager);
    err.manager.error_exit = jpegExit;
    err.manager.emit_message = jpegMessage;
    std::string sizeProblem;
    if (setjmp(err.jump)) {
        jpeg_destroy_decompress(&cinfo);
        return path + ": " + err.message;
    }
    jpeg_create_decompress(&cinfo);
    jpeg_stdio_src(&cinfo, file.get());
    jpeg_read_header(&cinfo, TRUE);
    const bool cmyk = cinfo.jpeg_color_space == JCS_CMYK || cinfo.jpeg_color_space == JCS_YCCK;
    cinfo.out_color_space = cmyk ? JCS_CMYK : JCS_RGB;
    const int channels = cmyk ? 4 : 3;
    sizeProblem = sizeError(path, cinfo.image_width, cinfo.image_height, channels);
    if (!sizeProblem.empty()) {
        jpeg_destroy_decompress(&cinfo);
        return sizeProblem;
    }
    jpeg_start_decompress(&cinfo);
    image->width = static_cast<int32_t>(cinfo.output_width);
    image->height = static_cast<int32_t>(cinfo.output_height);
    image->channels = channels;
    image->bytes.resize(size_t(image->width) * image->height * channels);
    while (cinfo.output_scanline < cinfo.output_height) {
        JSAMPROW row = &image->bytes[size_t(cinfo.output_scanline) * image->width * channels];
        jpeg_read_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_decompress(&cinfo);
    // Adobe's CMYK JPEGs store the inks inverted.
    if (cmyk && cinfo.saw_Adobe_marker)
        for (uint8_t& b : image->bytes) b = static_cast<uint8_t>(255 - b);
    jpeg_destroy_decompress(&cinfo);
    if (err.manager.num_warnings) return path + ": " + err.message;
    return {};
}

// `row` holds one row of the image; it lives outside the frame that longjmp returns to.
std::string compressJpeg(FILE* file, const Image& image, uint8_t* row) {
    const size_t rowBytes = size_t(image.width) * image.channels;
    jpeg_compress_struct cinfo{};
    JpegError err{};
    cinfo.err = jpeg_std_error(&err.manager);
    err.manager.error_exit = jpegExit;
    if (setjmp(err.jump)) {
        jpeg_destroy_compress(&cinfo);
        return err.message;
    }
    jpeg_create_compress(&cinfo);
    jpeg_stdio_dest(&cinfo, file);
    cinfo.image_width = static_cast<JDIMENSION>(image.width);
    cinfo.image_height = static_cast<JDIMENSION>(image.height);
    cinfo.input_components = image.channels;
    cinfo.in_color_space = image.channels == 4 ? JCS_CMYK : JCS_RGB;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, 95, TRUE);
    jpeg_start_compress(&cinfo, TRUE);
    while (cinfo.next_scanline < cinfo.image_height) {
        const uint8_t* source = &image.bytes[size_t(cinfo.next_scanline) * rowBytes];
        // libjpeg marks a CMYK file as Adobe's, whose inks are inverted.
        for (size_t i = 0; i < rowBytes; ++i) row[i] = image.channels == 4 ? uint8_t(255 - source[i]) : source[i];
        JSAMPROW rows[1] = {row};
        jpeg_write_scanlines(&cinfo, rows, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    return {};
}

std::string writeJpeg(FILE* file, const Image& image) {
    std::vector<uint8_t> row(size_t(image.width) * image.channels);
    return compressJpeg(file, image, row.data());
}

// ---- TIFF ----

thread_local std::string t_tiffError;
void tiffError(const char* module, const char* format, va_list args) {
    if (!t_tiffError.empty()) return;
    char text[512];
    std::vsnprintf(text, sizeof text, format, args);
    t_tiffError = module ? std::string(module) + ": " + text : text;
}

struct TiffCloser {
    void operator()(TIFF* t) const { TIFFClose(t); }
};
using Tiff = std::unique_ptr<TIFF, TiffCloser>;

std::string readTiff(const std::string& path, Image* image) {
    t_tiffError.clear();
    TIFFSetErrorHandler(tiffError);
    TIFFSetWarningHandler(nullptr);
    Tiff tif(TIFFOpen(path.c_str(), "r"));
    auto failed = [&](const char* what) { return path + ": " + (t_tiffError.empty() ? what : t_tiffError); };
    if (!tif) return failed("not a readable TIFF");
    uint32_t width = 0, height = 0;
    uint16_t bits = 1, samples = 1, photometric = 0, planar = PLANARCONFIG_CONTIG, inkSet = INKSET_CMYK;
    TIFFGetField(tif.get(), TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tif.get(), TIFFTAG_IMAGELENGTH, &height);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_SAMPLESPERPIXEL, &samples);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_PLANARCONFIG, &planar);
    TIFFGetFieldDefaulted(tif.get(), TIFFTAG_INKSET, &inkSet);
    if (!TIFFGetField(tif.get(), TIFFTAG_PHOTOMETRIC, &photometric)) return path + ": no photometric interpretation";
    if (bits > 8) return sixteenBits(path, bits);
    const bool cmyk = photometric == PHOTOMETRIC_SEPARATED;
    if (cmyk && (bits != 8 || samples < 4 || inkSet != INKSET_CMYK || planar != PLANARCONFIG_CONTIG))
        return path + ": only interleaved 8-bit CMYK separations are supported";
    const int channels = cmyk ? 4 : 3;
    if (std::string e = sizeError(path, width, height, channels); !e.empty()) return e;
    image->width = static_cast<int32_t>(width);
    image->height = static_cast<int32_t>(height);
    image->channels = channels;
    image->bytes.resize(size_t(width) * height * channels);
    if (cmyk) {
        // Extra samples (alpha, spot inks) after the four inks are left out.
        const tmsize_t lineBytes = TIFFScanlineSize(tif.get());
        if (lineBytes < tmsize_t(width) * samples) return failed("bad scanline size");
        std::vector<uint8_t> line(static_cast<size_t>(lineBytes));
        for (uint32_t y = 0; y < height; ++y) {
            if (TIFFReadScanline(tif.get(), line.data(), y, 0) < 0) return failed("cannot read the pixels");
            uint8_t* out = &image->bytes[size_t(y) * width * 4];
            for (uint32_t x = 0; x < width; ++x) std::memcpy(out + x * 4, &line[size_t(x) * samples], 4);
        }
        return {};
    }
    // Everything else (RGB, grey, palette, YCbCr, planes) through libtiff's
    // RGBA reader; alpha is dropped.
    std::vector<uint32_t> rgba(size_t(width) * height);
    if (!TIFFReadRGBAImageOriented(tif.get(), width, height, rgba.data(), ORIENTATION_TOPLEFT, 1))
        return failed("cannot read the pixels");
    for (size_t i = 0; i < rgba.size(); ++i) {
        image->bytes[i * 3] = static_cast<uint8_t>(TIFFGetR(rgba[i]));
        image->bytes[i * 3 + 1] = static_cast<uint8_t>(TIFFGetG(rgba[i]));
        image->bytes[i * 3 + 2] = static_cast<uint8_t>(TIFFGetB(rgba[i]));
    }
    return {};
}

std::string writeTiff(const std::string& path, const Image& image) {
    t_tiffError.clear();
    TIFFSetErrorHandler(tiffError);
    Tiff tif(TIFFOpen(path.c_str(), "w"));
    if (!tif) return t_tiffError.empty() ? "cannot create " + path : t_tiffError;
    TIFF* t = tif.get();
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, uint32_t(image.width));
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, uint32_t(image.height));
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, image.channels);
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, image.channels == 4 ? PHOTOMETRIC_SEPARATED : PHOTOMETRIC_RGB);
    if (image.channels == 4) TIFFSetField(t, TIFFTAG_INKSET, INKSET_CMYK);
    TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE);
    TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(t, 0));
    std::vector<uint8_t> line(size_t(image.width) * image.channels);
    for (int32_t y = 0; y < image.height; ++y) {
        std::memcpy(line.data(), &image.bytes[size_t(y) * line.size()], line.size());
        if (TIFFWriteScanline(t, line.data(), uint32_t(y), 0) < 0)
            return t_tiffError.empty() ? "cannot write " + path : t_tiffError;
    }
    if (!TIFFFlush(t)) return t_tiffError.empty() ? "cannot write " + path : t_tiffError;
    return {};
}

bool endsWith(std::string name, const char* suffix) {
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    const size_t n = std::strlen(suffix);
    return name.size() >= n && name.compare(name.size() - n, n, suffix) == 0;
}

// The pixels into `temp`, then the profile by the library for TIFF and JPEG.
std::string writeTemporary(const std::string& temp, int fd, FileFormat format, const Image& image,
                           const std::vector<uint8_t>& icc) {
    std::string error;
    if (format == FileFormat::Tiff) {
        ::close(fd);
        error = writeTiff(temp, image);
    } else {
        File file(::fdopen(fd, "wb"));
        if (!file) {
            ::close(fd);
            return "cannot write " + temp;
        }
        error = format == FileFormat::Png ? writePng(file.get(), image, icc) : writeJpeg(file.get(), image);
        if (error.empty() && (std::fflush(file.get()) != 0 || std::ferror(file.get()))) error = "cannot write " + temp;
    }
    if (!error.empty() || icc.empty() || format == FileFormat::Png) return error;
    IccProfile profile;
    Quv_InitICCProfile(&profile, sizeof profile);
    std::vector<uint8_t> bytes = icc;  // the call takes a writable block
    ClrStatus status = Quv_FillICCProfileStructure(&profile, bytes.data(), bytes.size());
    if (status == CLR_SUCCESS) status = Quv_SaveICCProfileA(temp.c_str(), &profile, nullptr);
    Quv_FreeICCProfile(&profile);
    if (status != CLR_SUCCESS) error = "cannot embed the profile (status " + std::to_string(status) + ")";
    return error;
}

}  // namespace

FileFormat formatOfContent(const std::string& path) {
    File file(std::fopen(path.c_str(), "rb"));
    uint8_t head[8] = {};
    if (!file || std::fread(head, 1, sizeof head, file.get()) != sizeof head) return FileFormat::None;
    if (std::memcmp(head, "\x89PNG\r\n\x1a\n", 8) == 0) return FileFormat::Png;
    if (head[0] == 0xFF && head[1] == 0xD8 && head[2] == 0xFF) return FileFormat::Jpeg;
    if (std::memcmp(head, "II*\0", 4) == 0 || std::memcmp(head, "MM\0*", 4) == 0) return FileFormat::Tiff;
    return FileFormat::None;
}

FileFormat formatOfName(const std::string& path) {
    if (endsWith(path, ".png")) return FileFormat::Png;
    if (endsWith(path, ".jpg") || endsWith(path, ".jpeg")) return FileFormat::Jpeg;
    if (endsWith(path, ".tif") || endsWith(path, ".tiff")) return FileFormat::Tiff;
    return FileFormat::None;
}

std::string readImageFile(const std::string& path, Image* image) {
    switch (formatOfContent(path)) {
    case FileFormat::Png: return readPng(path, image);
    case FileFormat::Jpeg: return readJpeg(path, image);
    case FileFormat::Tiff: return readTiff(path, image);
    default: return path + ": not a PNG, JPEG or TIFF file";
    }
}

std::string writeImageFile(const std::string& path, const Image& image, const std::vector<uint8_t>& icc) {
    const FileFormat format = formatOfName(path);
    if (format == FileFormat::None) return path + ": name it .png, .jpg or .tif";
    std::string temp;
    const int fd = temporaryBeside(path, &temp);
    if (fd < 0) return "cannot create a temporary beside " + path;
    std::string error = writeTemporary(temp, fd, format, image, icc);
    if (error.empty() && std::rename(temp.c_str(), path.c_str()) != 0) error = "cannot rename into " + path;
    if (!error.empty()) {
        std::remove(temp.c_str());
        return path + ": " + error;
    }
    return {};
}

}  // namespace quvclr_tool
