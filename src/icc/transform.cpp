#include "icc/transform.h"

#include "icc/embedded.h"
#include "icc/run.h"
#include "kernels/catalogue.h"
#include "platform/file.h"
#include "platform/probe.h"
#include "platform/text.h"

#include <quvclr/conversion.h>

#include <lcms2.h>

#include <string>

namespace quv::icc {
namespace {

// lcms2 reports why a transform could not be made only to its log handler.
thread_local cmsUInt32Number t_lastError = 0;

void recordError(cmsContext, cmsUInt32Number code, const char*) { t_lastError = code; }

// The handler is installed once, in a context of our own, so that an
// application's own use of lcms2 and its log handler are left alone.
cmsContext engineContext() {
    static cmsContext context = [] {
        cmsContext c = cmsCreateContext(nullptr, nullptr);
        cmsSetLogErrorHandlerTHR(c, recordError);
        return c;
    }();
    return context;
}

struct Profile {
    cmsHPROFILE handle = nullptr;
    ~Profile() {
        if (handle) cmsCloseProfile(handle);
    }
};

const EmbeddedProfile* embeddedFor(uint32_t format) {
    return findEmbeddedProfile(kernels::embeddedProfileOf(format));
}

cmsHPROFILE openBytes(const void* data, uint32_t length) {
    return cmsOpenProfileFromMemTHR(engineContext(), data, length);
}

// Opens one side. 1 with the profile or with nothing given; else the status.
ClrStatus open(const ProfileSource& source, Profile* profile) {
    if (source.data) {
        MemoryProbe probe;
        if (source.length == 0 || !probe.readable(source.data, source.length)) return CLR_INVALID_PARAMETER;
        profile->handle = openBytes(source.data, source.length);
        return profile->handle ? CLR_SUCCESS : CLR_PROFILE_OPEN_FAILED;
    }
    if (source.path) {
        if (!quvFileExists(source.path)) return CLR_FILE_NOT_FOUND;
        const std::string name = utf16ToUtf8(std::u16string_view(source.path, wideLength(source.path)));
        profile->handle = cmsOpenProfileFromFileTHR(engineContext(), name.c_str(), "r");
        return profile->handle ? CLR_SUCCESS : CLR_PROFILE_OPEN_FAILED;
    }
    return CLR_SUCCESS;
}

// The colour space lcms2 expects of each end of a chain of profiles. The
// spaces and classes come from the caller's profile headers and may hold any
// 32-bit value, so they are kept as plain numbers, never as lcms2's enums.
void chainSpaces(cmsHPROFILE* profiles, int count, uint32_t* entry, uint32_t* exit) {
    uint32_t after = cmsSigRgbData;
    for (int i = 0; i < count; ++i) {
        const bool intoConnection = after != cmsSigXYZData && after != cmsSigLabData;
        const uint32_t cls = cmsGetDeviceClass(profiles[i]);
        uint32_t in, out;
        if (cls == cmsSigNamedColorClass) {
            in = cmsSig1colorData;
            out = count > 1 ? cmsGetPCS(profiles[i]) : cmsGetColorSpace(profiles[i]);
        } else if (intoConnection || cls == cmsSigLinkClass) {
            in = cmsGetColorSpace(profiles[i]);
            out = cmsGetPCS(profiles[i]);
        } else {
            in = cmsGetPCS(profiles[i]);
            out = cmsGetColorSpace(profiles[i]);
        }
        if (i == 0) *entry = in;
        after = out;
    }
    *exit = after;
}

bool formatMatches(uint32_t format, uint32_t space) {
    const uint32_t pt = T_COLORSPACE(format);
    switch (space) {
    case cmsSigRgbData: return pt == PT_RGB;
    case cmsSigCmyData: return pt == PT_CMY;
    case cmsSigCmykData: return pt == PT_CMYK;
    case cmsSigLabData: return pt == PT_Lab || pt == PT_LabV2;
    case cmsSigXYZData: return pt == PT_XYZ;
    case cmsSigGrayData: return pt == PT_GRAY;
    case cmsSigYCbCrData: return pt == PT_YCbCr;
    default: return false;
    }
}

bool intentSupported(cmsUInt32Number intent) {
    cmsUInt32Number codes[64];
    char* names[64];
    const cmsUInt32Number n = cmsGetSupportedIntentsTHR(engineContext(), 64, codes, names);
    for (cmsUInt32Number i = 0; i < n && i < 64; ++i)
        if (codes[i] == intent) return true;
    return false;
}

// One attempt: the tests lcms2 would fail on, in the order of their
// statuses, then the call, whose failure is read from the log.
cmsHTRANSFORM attempt(cmsHPROFILE input, cmsHPROFILE output, uint32_t inFormat, uint32_t outFormat, uint32_t flags,
                      ClrStatus* status) {
    cmsHPROFILE list[2] = {input, output};
    const int count = output ? 2 : 1;
    if (!input) {
        *status = CLR_INVALID_PROFILE_SET;
        return nullptr;
    }
    uint32_t entry = cmsSigRgbData, exit = cmsSigRgbData;
    chainSpaces(list, count, &entry, &exit);
    if (!formatMatches(inFormat, entry) || !formatMatches(outFormat, exit)) {
        *status = CLR_ICC_SPACE_MISMATCH;
        return nullptr;
    }
    const cmsUInt32Number intent = output ? cmsGetHeaderRenderingIntent(output) : 0;
    if (!intentSupported(intent)) {
        *status = CLR_INVALID_PROFILE_SET;
        return nullptr;
    }
    t_lastError = 0;
    cmsHTRANSFORM t = cmsCreateMultiprofileTransformTHR(engineContext(), list, count, inFormat, outFormat, intent,
                                                        (flags & kEngineFlagMask) * cmsFLAGS_NOWHITEONWHITEFIXUP);
    if (!t) {
        *status = t_lastError == cmsERROR_COLORSPACE_CHECK ? CLR_ICC_SPACE_MISMATCH
                  : t_lastError == cmsERROR_RANGE          ? CLR_INVALID_PROFILE_SET
                                                           : CLR_TRANSFORM_LINK_FAILED;
    }
    return t;
}

// The embedded profile that stands in for an absent side, chosen by that
// side's format; Lab and other formats have none.
const EmbeddedProfile* fallbackFor(uint32_t format) {
    return format != kernels::kFormatLab ? embeddedFor(format) : nullptr;
}

}  // namespace

void* buildTransform(uint32_t inputFormat, uint32_t outputFormat, uint32_t flags, ProfileSource input,
                     ProfileSource output, ClrStatus* status) {
    *status = CLR_SUCCESS;
    if (!(flags & kCustomProfiles)) {
        const EmbeddedProfile* in = embeddedFor(inputFormat);
        const EmbeddedProfile* out = embeddedFor(outputFormat);
        if (!in || !out) {
            *status = CLR_ICC_SPACE_MISMATCH;
            return nullptr;
        }
        input = {nullptr, in->data, in->length};
        output = {nullptr, out->data, out->length};
    }

    Profile in, out;
    if (ClrStatus s = open(input, &in); s != CLR_SUCCESS) {
        *status = s;
        return nullptr;
    }
    if (ClrStatus s = open(output, &out); s != CLR_SUCCESS) {
        *status = s;
        return nullptr;
    }

    cmsHTRANSFORM t = attempt(in.handle, out.handle, inputFormat, outputFormat, flags, status);
    if (t) return t;

    // Fill an absent side from the embedded profiles and try once more.
    if (!in.handle || !out.handle) {
        Profile& missing = out.handle ? in : out;
        const EmbeddedProfile* stand = fallbackFor(out.handle ? inputFormat : outputFormat);
        if (!stand) return nullptr;
        missing.handle = openBytes(stand->data, stand->length);
        if (!missing.handle) {
            *status = CLR_PROFILE_OPEN_FAILED;
            return nullptr;
        }
    }
    ClrStatus retry = CLR_SUCCESS;
    t = attempt(in.handle, out.handle, inputFormat, outputFormat, flags, &retry);
    if (t) *status = CLR_SUCCESS;
    return t;  // both profiles close here, the output first
}

}  // namespace quv::icc
