#include "persistence/BDXFileNameSuffix.h"

std::string bdx_stringByAppendingFileNameSuffix(const std::string& fileName, const std::string& suffix) {
    const auto dot = fileName.rfind('.');
    const auto slash = fileName.rfind('/');
    const bool hasExtension = dot != std::string::npos && dot + 1 < fileName.size() && dot > 0 &&
                              (slash == std::string::npos || dot > slash + 1);
    if (!hasExtension) {
        return fileName + "-" + suffix;
    }
    return fileName.substr(0, dot) + "-" + suffix + fileName.substr(dot);
}
