#include "platform/Services.h"

#include <cairo.h>
#include <jpeglib.h>
#include <openssl/crypto.h>
#include <png.h>
#include <unicode/uversion.h>
#include <zlib.h>

#include "foundation/RunLoop.h"

namespace bdx {

std::vector<PlatformService> platformServices() {
    // Versions are read at run time where the library can tell them, so that a shared library
    // upgraded under the program is reported as it is, not as it was at build time.
    UVersionInfo icu;
    u_getVersion(icu);
    char icuText[U_MAX_VERSION_STRING_LENGTH];
    u_versionToString(icu, icuText);
    return {
        {"main run loop", RunLoop::isEmbeddedMainThreadRunning() ? "embedded main thread" : "host-driven",
         ""},
        {"drawing", "Cairo", cairo_version_string()},
        {"PNG images", "libpng", png_get_libpng_ver(nullptr)},
        {"JPEG images", "libjpeg", std::to_string(JPEG_LIB_VERSION)},
        {"compression", "zlib", zlibVersion()},
        {"digests", "OpenSSL", OpenSSL_version(OPENSSL_VERSION)},
        {"calendars and time zones", "ICU", icuText},
    };
}

}  // namespace bdx
