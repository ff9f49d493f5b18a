#include "core/BDXEnumNamers.h"

#include <array>
#include <cstdio>
#include <string_view>

#include "core/BDXTypedText.h"
#include "foundation/FileURL.h"

namespace {

template <std::size_t N>
std::string nameIn(const std::array<std::string_view, N>& names, std::int64_t value) {
    if (value < 0 || static_cast<std::uint64_t>(value) >= N) {
        return {};
    }
    return std::string(names[static_cast<std::size_t>(value)]);
}

}  // namespace

std::string NSStringFromBool(bool value) {
    return bdx_ofType(value ? "YES" : "NO", "BOOL");
}

std::string NSStringFromInteger(std::int64_t value) {
    return bdx_ofType(std::to_string(value), "NSInteger");
}

std::string NSStringFromDouble(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%f", value);
    return bdx_ofType(text, "double");
}

std::string NSStringFromUIColor(const bdx::gfx::Color& color) {
    char text[160];
    std::snprintf(text, sizeof text, "R:%f G:%f B:%f A:%f", color.r, color.g, color.b, color.a);
    return bdx_ofType(text, "UIColor");
}

std::string NSStringFromUIImage(const bdx::gfx::Image& image) {
    return bdx_ofType(image.isNull() ? "nil" : "image", "UIImage");
}

std::string NSStringFromNSError(const bdx::Error* error) {
    return bdx_ofType(error ? error->localizedDescription() : "nil", "NSError");
}

std::string NSStringFromNSURL(const std::optional<std::string>& url) {
    return bdx_ofType(url ? bdx::pathOfURL(*url) : "(null)", "NSURL");
}

std::string NSStringFromNSPredicate(const std::optional<std::string>& predicateFormat) {
    return bdx_ofType(predicateFormat ? *predicateFormat : "(null)", "NSPredicate");
}

std::string NSStringFromNSException(const std::exception* exception) {
    return bdx_ofType(exception ? exception->what() : "nil", "NSException");
}

std::string NSStringFromNSString(const std::optional<std::string>& text) {
    return bdx_ofType(text ? *text : "nil", "NSString");
}

std::string NSStringFromCGRectEdge(std::int64_t edge) {
    static constexpr std::array<std::string_view, 4> names{"CGRectMinXEdge", "CGRectMinYEdge",
                                                           "CGRectMaxXEdge", "CGRectMaxYEdge"};
    return bdx_ofType(nameIn(names, edge), "CGRectEdge");
}

std::string NSStringFromBDXPosition(std::int64_t position) {
    static constexpr std::array<std::string_view, 4> names{"bottomRight", "topRight", "bottomLeft",
                                                           "topLeft"};
    return bdx_ofType(nameIn(names, position), "CGRectEdge");
}

std::string NSStringFromBDXColorTheme(std::int64_t theme) {
    static constexpr std::array<std::string_view, 2> names{"BDXColorThemeLight", "BDXColorThemeDark"};
    return bdx_ofType(nameIn(names, theme), "BDXColorTheme");
}

std::string NSStringFromBDXReportType(std::int64_t reportType) {
    static constexpr std::array<std::string_view, 2> names{"bug", "feedback"};
    return bdx_ofType(nameIn(names, reportType), "BDXReportType");
}

std::string NSStringFromBDXUserStepsMode(std::int64_t mode) {
    static constexpr std::array<std::string_view, 3> names{"Enable", "Non visual", "Disable"};
    return nameIn(names, mode);
}

std::string NSStringFromBDXExtendedBugReportMode(std::int64_t mode) {
    static constexpr std::array<std::string_view, 3> names{"Enabled With Required Fields",
                                                           "Enabled With Optional Fields", "Disable"};
    return nameIn(names, mode);
}

std::string NSStringFromBDXWelcomeMessageMode(std::int64_t mode) {
    static constexpr std::array<std::string_view, 3> names{"Live", "Beta", "Disabled"};
    return nameIn(names, mode);
}

std::string NSStringFromBDXLogLevel(std::int64_t level) {
    static constexpr std::array<std::string_view, 6> names{"default", "trace", "info",
                                                           "warning", "error", "fatal"};
    return bdx_ofType(nameIn(names, level), "BDXSDKLogsLevel");
}

std::string NSStringFromBDXSDKLogLevel(std::int64_t level) {
    static constexpr std::array<std::string_view, 4> names{"Verbose", "Debug", "Error", "None"};
    return bdx_ofType(nameIn(names, level), "BDXSDKLogsLevel");
}
