#include <gtest/gtest.h>

#include <clocale>
#include <string>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"
#include "archivefile/foundation/Platform.h"
#include "archivefile/foundation/TextException.h"
#include "archivefile/foundation/VexDLL.h"
#include "archivefile/foundation/VexFileIO.h"

using namespace archivefile;

namespace {
std::string errors;
std::string logs;
bool collectErrors(const char* text, ...) { errors += text; return true; }
bool collectLogs(const char* text, ...) { logs += text; return true; }
}  // namespace

TEST(GenericError, EveryCodeHasItsText) {
    EXPECT_STREQ(GenericError::ErrorString(0), "No Error(s)");
    EXPECT_STREQ(GenericError::ErrorString(1), "Premature EOF");
    EXPECT_STREQ(GenericError::ErrorString(6), "cannot write to file");
    EXPECT_STREQ(GenericError::ErrorString(9), "User cancelled");
    EXPECT_STREQ(GenericError::ErrorString(10), "dll Unknown throw Error");
    EXPECT_STREQ(GenericError::ErrorString(-1), "dll Unknown throw Error");
}

TEST(VexDLL, VersionAndDatesDoNotFollowTheProcessLocale) {
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr && std::setlocale(LC_ALL, "de_DE") == nullptr)
        GTEST_SKIP() << "no German locale on this machine";
    VexDLL root;
    EXPECT_STREQ(root.VersionStr(), "4.11");
    VexFileIO stream(&root);
    GenString banner;
    stream.Banner(&banner, "");
    EXPECT_NE(banner.view().find(" version 4.11\r\n"), std::string_view::npos);
    // The test suite runs with TZ=UTC.
    EXPECT_EQ(Platform::localTimeText(0), "Thu Jan  1 00:00:00 1970");
    EXPECT_EQ(Platform::localTimeText(1702944000), "Tue Dec 19 00:00:00 2023");
    std::setlocale(LC_ALL, "C");
}

TEST(Callbacks, WithoutCallbacksCarriageReturnsGoFromTheTextBeforeItIsWritten) {
    VexFileIO stream;
    char text[] = "first line\r\nsecond 100%% line, 50%\r% done\r\n";
    ::testing::internal::CaptureStderr();
    stream.PrintToStdErr(text);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "first line\nsecond 100% line, 50% done\n");
    EXPECT_STREQ(text, "first line\nsecond 100%% line, 50%% done\n");
}

TEST(Callbacks, ErrorCallbackStaysWhenTheLogCallbackIsReplaced) {
    VexFileIO stream;
    errors.clear();
    logs.clear();
    stream.SetErrCallBack(collectErrors);
    stream.SetCallBack(collectLogs);
    EXPECT_EQ(stream.logCallback(), &collectLogs);
    stream.Throw(GE_NoError, "warning %d\r\n", 7);
    EXPECT_EQ(errors, "warning 7\r\n");
    EXPECT_EQ(logs, "");
    // An explicit callback always wins.
    stream.PrintToStdErr("direct", collectLogs);
    EXPECT_EQ(logs, "direct");
}

TEST(Callbacks, SetCallBackInstallsBothWhenNoCallerErrorCallbackIsSet) {
    VexFileIO stream;
    logs.clear();
    stream.SetErrCallBack(VexFileIO::KeyPollCallBack);
    stream.SetCallBack(collectLogs);
    stream.Throw(GE_NoError, "%s", "both");
    EXPECT_EQ(logs, "both");
}

TEST(Guarded, RaisedCodesBecomeTheResultAfterTheMessage) {
    VexFileIO stream;
    errors.clear();
    stream.SetCallBack(collectErrors);
    EXPECT_EQ(guarded(stream, [&] { stream.Throw(GE_NoError, "only a warning\r\n"); }), 0);
    EXPECT_EQ(guarded(stream, [&] { stream.Throw(GE_InvalidFile, "bad header in %s\r\n", "x.bin"); }), 3);
    EXPECT_EQ(errors, "only a warning\r\nbad header in x.bin\r\n");
    EXPECT_EQ(guarded(stream, [] { return -14; }), -14);
    EXPECT_EQ(guarded(stream, []() -> int { archivefile::raise(-7); }), -7);
}

TEST(Guarded, MisuseRaisedAsTextIsReportedAsACodeBug) {
    VexFileIO stream;
    errors.clear();
    stream.SetCallBack(collectErrors);
    bool cleaned = false;
    EXPECT_EQ(guarded(stream, [] { throw TextException("hasdrive invalid n:"); }, [&] { cleaned = true; }), GE_CodeBug);
    EXPECT_TRUE(cleaned);
    EXPECT_EQ(errors, "hasdrive invalid n:");
}
