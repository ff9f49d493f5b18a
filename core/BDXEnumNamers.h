#pragma once

#include <cstdint>
#include <exception>
#include <optional>
#include <string>

#include "foundation/Error.h"
#include "platform/gfx/Color.h"
#include "platform/gfx/Image.h"

// Names of values and enumerations for diagnostics. Each result is typed text (see BDXTypedText.h)
// unless said otherwise; a value the namer does not know gives the empty text, typed the same way.

std::string NSStringFromBool(bool value);
std::string NSStringFromInteger(std::int64_t value);
std::string NSStringFromDouble(double value);
// "R:<red> G:<green> B:<blue> A:<alpha>", components in 0..1.
std::string NSStringFromUIColor(const bdx::gfx::Color& color);
// "image", or "nil" for the null image.
std::string NSStringFromUIImage(const bdx::gfx::Image& image);
// The error's description; "nil" for none.
std::string NSStringFromNSError(const bdx::Error* error);
// The path of the URL, percent escapes decoded; "(null)" for no URL.
std::string NSStringFromNSURL(const std::optional<std::string>& url);
// The predicate's format text; "(null)" for no predicate.
std::string NSStringFromNSPredicate(const std::optional<std::string>& predicateFormat);
// The exception's reason; "nil" for none.
std::string NSStringFromNSException(const std::exception* exception);
// The text; "nil" for none.
std::string NSStringFromNSString(const std::optional<std::string>& text);

std::string NSStringFromCGRectEdge(std::int64_t edge);
// Typed with the edge's word, as the position is stored where an edge would be.
std::string NSStringFromBDXPosition(std::int64_t position);
std::string NSStringFromBDXColorTheme(std::int64_t theme);
std::string NSStringFromBDXReportType(std::int64_t reportType);
// These three give the bare text, untyped.
std::string NSStringFromBDXUserStepsMode(std::int64_t mode);
std::string NSStringFromBDXExtendedBugReportMode(std::int64_t mode);
std::string NSStringFromBDXWelcomeMessageMode(std::int64_t mode);
// Levels of the host's log lines: "default", "trace", "info", "warning", "error", "fatal" for 0 to 5.
std::string NSStringFromBDXLogLevel(std::int64_t level);
// Levels of the SDK's own diagnostics: "Verbose", "Debug", "Error", "None" for 0 to 3. Both level namers
// type their text with the same word, "BDXSDKLogsLevel".
std::string NSStringFromBDXSDKLogLevel(std::int64_t level);
