#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <stdexcept>

#include "core/BDXEnumNamers.h"
#include "core/BDXObjectDescription.h"
#include "core/BDXTypedText.h"

TEST(BDXTypedText, TypeAndValueComeBackOut) {
    const std::string typed = bdx_ofType("YES", "BOOL");
    EXPECT_EQ(typed, "BDXType-BOOL:YES");
    EXPECT_EQ(bdx_type(typed), "BOOL");
    EXPECT_EQ(bdx_value(typed), "YES");

    // A value that itself holds the marks: the first ":" ends the type.
    const std::string url = bdx_ofType("http://host/a-b", "NSURL");
    EXPECT_EQ(bdx_type(url), "NSURL");
    EXPECT_EQ(bdx_value(url), "http://host/a-b");
    EXPECT_EQ(bdx_value(bdx_ofType("", "BDXColorTheme")), "");
}

TEST(BDXTypedText, TextWithoutTheMarksStandsAsItIs) {
    EXPECT_EQ(bdx_type("no marks here"), "no marks here");
    EXPECT_EQ(bdx_type("dash-only"), "dash-only");
    EXPECT_EQ(bdx_type("colon:only"), "colon:only");
    EXPECT_EQ(bdx_type("a:b-c"), "a:b-c");
    EXPECT_EQ(bdx_value("dash-only"), "dash-only");
    EXPECT_EQ(bdx_value("colon:only"), "only");
}

TEST(BDXEnumNamers, ValuesAreNamedAndTyped) {
    EXPECT_EQ(NSStringFromBool(true), "BDXType-BOOL:YES");
    EXPECT_EQ(NSStringFromBool(false), "BDXType-BOOL:NO");
    EXPECT_EQ(NSStringFromInteger(-42), "BDXType-NSInteger:-42");
    EXPECT_EQ(NSStringFromDouble(2.5), "BDXType-double:2.500000");
    EXPECT_EQ(NSStringFromNSString("hello"), "BDXType-NSString:hello");
    EXPECT_EQ(NSStringFromNSString(std::nullopt), "BDXType-NSString:nil");
    EXPECT_EQ(NSStringFromUIColor(bdx::gfx::Color::rgba(1, 0.5, 0, 0.25)),
              "BDXType-UIColor:R:1.000000 G:0.500000 B:0.000000 A:0.250000");
    EXPECT_EQ(NSStringFromUIImage(bdx::gfx::Image()), "BDXType-UIImage:nil");
    EXPECT_EQ(NSStringFromUIImage(bdx::gfx::Image::filled(2, 2, 0xFF000000)), "BDXType-UIImage:image");
    EXPECT_EQ(NSStringFromNSError(nullptr), "BDXType-NSError:nil");
    const bdx::Error missing("NSCocoaErrorDomain", 4,
                             bdx::Value{{"NSLocalizedDescription", "The file is gone."}});
    EXPECT_EQ(NSStringFromNSError(&missing), "BDXType-NSError:The file is gone.");
    const std::runtime_error failure("disk full");
    EXPECT_EQ(NSStringFromNSException(&failure), "BDXType-NSException:disk full");
    EXPECT_EQ(NSStringFromNSException(nullptr), "BDXType-NSException:nil");
}

TEST(BDXEnumNamers, UrlIsNamedByItsDecodedPath) {
    EXPECT_EQ(NSStringFromNSURL("https://api.example.com/api/sdk/v3/features?token=1#top"),
              "BDXType-NSURL:/api/sdk/v3/features");
    EXPECT_EQ(NSStringFromNSURL("file:///tmp/My%20File.txt"), "BDXType-NSURL:/tmp/My File.txt");
    EXPECT_EQ(NSStringFromNSURL("https://example.com"), "BDXType-NSURL:");
    EXPECT_EQ(NSStringFromNSURL("/var/log/a.txt"), "BDXType-NSURL:/var/log/a.txt");
    EXPECT_EQ(NSStringFromNSPredicate("URL CONTAINS \"api\""), "BDXType-NSPredicate:URL CONTAINS \"api\"");
}

TEST(BDXEnumNamers, EnumerationsNameEachValueAndNothingOutsideTheTable) {
    EXPECT_EQ(NSStringFromCGRectEdge(0), "BDXType-CGRectEdge:CGRectMinXEdge");
    EXPECT_EQ(NSStringFromCGRectEdge(3), "BDXType-CGRectEdge:CGRectMaxYEdge");
    EXPECT_EQ(NSStringFromCGRectEdge(4), "BDXType-CGRectEdge:");
    EXPECT_EQ(NSStringFromBDXPosition(1), "BDXType-CGRectEdge:topRight");
    EXPECT_EQ(NSStringFromBDXPosition(-1), "BDXType-CGRectEdge:");
    EXPECT_EQ(NSStringFromBDXColorTheme(1), "BDXType-BDXColorTheme:BDXColorThemeDark");
    EXPECT_EQ(NSStringFromBDXColorTheme(2), "BDXType-BDXColorTheme:");
    EXPECT_EQ(NSStringFromBDXReportType(0), "BDXType-BDXReportType:bug");
    EXPECT_EQ(NSStringFromBDXReportType(1), "BDXType-BDXReportType:feedback");

    EXPECT_EQ(NSStringFromBDXUserStepsMode(1), "Non visual");
    EXPECT_EQ(NSStringFromBDXUserStepsMode(3), "");
    EXPECT_EQ(NSStringFromBDXExtendedBugReportMode(0), "Enabled With Required Fields");
    EXPECT_EQ(NSStringFromBDXExtendedBugReportMode(2), "Disable");
    EXPECT_EQ(NSStringFromBDXWelcomeMessageMode(2), "Disabled");
    EXPECT_EQ(NSStringFromBDXWelcomeMessageMode(-5), "");
}

TEST(BDXObjectDescription, ListsPropertiesLeavingOutTheExcludedOnes) {
    const BDXDescribedProperties properties{
        {"name", "report"}, {"description", "loops"}, {"size", "3"}, {"debugDescription", "loops"}};
    EXPECT_EQ(bdx_description("BDXThing", properties), "BDXThing (\n    name: report\n    size: 3\n\n}");
    EXPECT_EQ(bdx_descriptionExcludingProperties("BDXThing", properties, {"name"}),
              "BDXThing (\n    size: 3\n\n}");
    EXPECT_EQ(bdx_description("BDXEmpty", {}), "BDXEmpty (\n\n}");
}
