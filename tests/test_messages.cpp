#include <gtest/gtest.h>
#include <fstream>
#include <sstream>
#include "Lumo_2D.h"
#include "tools.h"

using namespace ORBI_LUMO2D;

namespace {
std::string readFile(const char* name) {
    std::ifstream f(name);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}
} // namespace
namespace lumo_test {
void failingCall(int v) { LUMO_ASSERT(v == 42); }
} // namespace lumo_test

TEST(Messages, WarningLayout) {
    testing::internal::CaptureStdout();
    reportWarning("SegmentChecker::unsubscribe()", "No publisher present");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n      [Lumo2D-Message] SegmentChecker::unsubscribe(), WARNING: No publisher present\n\n");
}

TEST(Messages, AssertionReportsLogsAndThrows) {
    testing::internal::CaptureStdout();
    EXPECT_THROW(lumo_test::failingCall(1), LumoException);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("      [Lumo2D-Message] * Lumo, , ERROR: Condition [ v == 42 failed ]\n"), std::string::npos);
    EXPECT_NE(out.find("  Function: lumo_test::failingCall()\n"), std::string::npos) << out;
    EXPECT_EQ(readFile("LUMO_LOG.txt"), "* Lumo, Condition [ v == 42 failed ]\n");
}
