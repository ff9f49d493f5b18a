#include "foundation/Error.h"

#include <errno.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "testing/ConsoleCapture.h"

using bdx::Error;
using bdx::Value;

TEST(ErrorDescriptions, TheDescriptionEntryWinsOverTheGenericSentence) {
    const Error described = Error::withDescription("Record fail", 404, "Recording could not start");
    EXPECT_EQ(described.localizedDescription(), "Recording could not start");

    const Error plain("attachment", 203, Value{{"Error", "Image is nil"}});
    EXPECT_EQ(plain.localizedDescription(),
              "The operation couldn\u2019t be completed. (attachment error 203.)");
    EXPECT_EQ(plain.userInfoString("Error"), "Image is nil");
    EXPECT_EQ(plain.description(),
              "Error Domain=attachment Code=203 \"(null)\" UserInfo={Error=Image is nil}");

    const Error withReason("Low disk space", 0, Value{{"NSLocalizedFailureReason", "The disk is full."}});
    EXPECT_EQ(withReason.localizedDescription(),
              "The operation couldn\u2019t be completed. The disk is full.");

    EXPECT_EQ(Error(std::string(Error::CocoaErrorDomain), 3072).localizedDescription(),
              "The operation was cancelled.");
}

TEST(ErrorValues, EmptyPosixUnderlyingAndEquality) {
    EXPECT_TRUE(Error().isEmpty());
    EXPECT_FALSE(Error("PersistentStore not found", 404).isEmpty());

    const Error missing = Error::posix(ENOENT);
    EXPECT_EQ(missing.domain(), "NSPOSIXErrorDomain");
    EXPECT_EQ(missing.code(), ENOENT);
    EXPECT_EQ(missing.localizedDescription(), "No such file or directory");

    const Error wrapped = Error("archive", 4).withUnderlyingError(missing);
    ASSERT_NE(wrapped.underlyingError(), nullptr);
    EXPECT_EQ(wrapped.underlyingError()->code(), ENOENT);
    EXPECT_NE(wrapped.description().find("NSUnderlyingError=Error Domain=NSPOSIXErrorDomain Code=2"),
              std::string::npos);

    EXPECT_EQ(Error("a", 1, Value{{"k", 1}}), Error("a", 1, Value{{"k", 1}}));
    EXPECT_FALSE(Error("a", 1, Value{{"k", 1}}) == Error("a", 1, Value{{"k", 2}}));
    EXPECT_FALSE(Error("a", 1) == Error("a", 2));
}

TEST(ErrorValues, UserInfoThatIsNotADictionaryIsDroppedAndLogged) {
    bdx::testing::ConsoleCapture capture;
    const Error error("domain", 1, Value::array({1, 2}));
    EXPECT_TRUE(error.userInfo().is_object());
    EXPECT_TRUE(error.userInfo().empty());
    EXPECT_TRUE(capture.contains(bdx::Console::Channel::Fault, "user info must be a dictionary"));
}
