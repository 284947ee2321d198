// Messages, the log file, the assertion convention, progress receivers and the named timer.
// Every text is captured from standard output and compared byte for byte.
#include <gtest/gtest.h>
#include <unistd.h>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>
#include <tuple>
#include "Lumo_2D.h"
#include "MsgPublisher.h"
#include "tools.h"

using namespace ORBI_LUMO2D;

namespace {
std::string readFile(const char* name) {
    std::ifstream f(name);
    std::stringstream ss;
    ss << f.rdbuf();
    return ss.str();
}

// Tests touching "LUMO_LOG.txt" run in a directory of their own: CTest runs other test
// processes, which may log too, in parallel.
class LogDir : public testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/lumo2d_log_XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir = tmpl;
        oldDir = std::filesystem::current_path();
        std::filesystem::current_path(dir);
    }
    void TearDown() override {
        std::filesystem::current_path(oldDir);
        std::filesystem::remove_all(dir);
    }
    std::string dir;
    std::filesystem::path oldDir;
};

// True when text holds `prefix`, then one or more digits, then `suffix`.
bool containsNumberBetween(const std::string& text, const std::string& prefix, const std::string& suffix) {
    for (size_t pos = text.find(prefix); pos != std::string::npos; pos = text.find(prefix, pos + 1)) {
        size_t i = pos + prefix.size(), digits = 0;
        while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) ++i, ++digits;
        if (digits > 0 && text.compare(i, suffix.size(), suffix) == 0) return true;
    }
    return false;
}

// Records every notification.
struct Recorder : public MsgBase {
    std::vector<std::tuple<MsgType, std::string, double>> calls;
    std::vector<std::string>* order{nullptr};
    std::string name;
    void update(MsgType type, const std::string& text, double value) override {
        calls.emplace_back(type, text, value);
        if (order) order->push_back(name);
    }
};
} // namespace

namespace lumo_test {
int failLine = 0;
void failingCall(int v) { failLine = __LINE__; LUMO_ASSERT(v==42); }
void otherFailingCall(const void* p) { LUMO_ASSERT(p!=0); }
struct Holder {
    void member() const { LUMO_ASSERT(1+1==3); }
};
} // namespace lumo_test

// ---- report functions -------------------------------------------------------------------

TEST(Messages, ErrorLayout) {
    testing::internal::CaptureStdout();
    reportError("Lumo_2D::refine()", "angle bound too large");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n      [Lumo2D-Message] Lumo_2D::refine(), ERROR: angle bound too large\n\n");
}

TEST(Messages, WarningLayout) {
    testing::internal::CaptureStdout();
    reportWarning("SegmentChecker::unsubscribe()", "No publisher present");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n      [Lumo2D-Message] SegmentChecker::unsubscribe(), WARNING: No publisher present\n\n");
}

TEST(Messages, InfoCarriesTheTagOnlyWithoutLocation) {
    testing::internal::CaptureStdout();
    reportInfo("Zone2::getArea2D()", "empty zone");
    reportInfo("", "no location");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n      Zone2::getArea2D(), INFO: empty zone\n\n"
              "\n      [Lumo2D-Message] INFO: no location\n\n");
}

TEST(Messages, NothingGoesToStandardError) {
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    reportError("a()", "b");
    reportWarning("a()", "b");
    reportInfo("", "b");
    EXPECT_THROW(lumo_test::failingCall(0), LumoException);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// ---- log file ---------------------------------------------------------------------------

TEST_F(LogDir, LogErrorPrintsAndRewritesTheLogFile) {
    testing::internal::CaptureStdout();
    logError("first line");
    EXPECT_EQ(readFile("LUMO_LOG.txt"), "first line\n");
    logError("second line");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "first line\nsecond line\n");
    EXPECT_EQ(readFile("LUMO_LOG.txt"), "second line\n");
}

TEST_F(LogDir, UnwritableLogFileIsSilent) {
    std::filesystem::create_directory("LUMO_LOG.txt");   // a directory cannot be opened as the log
    testing::internal::CaptureStdout();
    logError("still printed");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "still printed\n");
}

// ---- assertions -------------------------------------------------------------------------

TEST_F(LogDir, AssertionPrintsTheFullReportLogsAndThrows) {
    testing::internal::CaptureStdout();
    EXPECT_THROW(lumo_test::failingCall(1), LumoException);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out, "\n      [Lumo2D-Message] * Lumo, , ERROR: Condition [ v==42 failed ]\n\n"
                   "* Lumo, Condition [ v==42 failed ]\n"
                   "  " + std::string(__FILE__) + ":" + std::to_string(lumo_test::failLine) + "\n"
                   "  Function: lumo_test::failingCall()\n");
    EXPECT_EQ(readFile("LUMO_LOG.txt"), "* Lumo, Condition [ v==42 failed ]\n");
}

TEST_F(LogDir, PassingAssertionDoesNothing) {
    testing::internal::CaptureStdout();
    EXPECT_NO_THROW(lumo_test::failingCall(42));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_FALSE(std::filesystem::exists("LUMO_LOG.txt"));
}

TEST_F(LogDir, TwoFailuresLeaveOnlyTheSecondInTheLog) {
    testing::internal::CaptureStdout();
    EXPECT_THROW(lumo_test::failingCall(1), LumoException);
    EXPECT_THROW(lumo_test::otherFailingCall(nullptr), LumoException);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("Condition [ v==42 failed ]"), std::string::npos);
    EXPECT_NE(out.find("Condition [ p!=0 failed ]"), std::string::npos);
    EXPECT_EQ(readFile("LUMO_LOG.txt"), "* Lumo, Condition [ p!=0 failed ]\n");
}

TEST_F(LogDir, LibraryAssertionNamesItsSourceRelativeAndItsNamespace) {
    const Point2 a(0, 0), b(1, 0);
    testing::internal::CaptureStdout();
    EXPECT_THROW(getOrientation2(nullptr, &a, &b), LumoException);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("ERROR: Condition [ p0!=0 failed ]\n"), std::string::npos) << out;
    EXPECT_TRUE(containsNumberBetween(out, "\n  dt2Library/freeFunctions.cpp:", "\n")) << out;
    EXPECT_NE(out.find("\n  Function: ORBI_LUMO2D::getOrientation2()\n"), std::string::npos) << out;
}

TEST_F(LogDir, MemberFunctionIsQualified) {
    testing::internal::CaptureStdout();
    EXPECT_THROW(lumo_test::Holder().member(), LumoException);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("Condition [ 1+1==3 failed ]"), std::string::npos);
    EXPECT_NE(out.find("  Function: lumo_test::Holder::member()\n"), std::string::npos) << out;
}

TEST(Messages, QualifiedNamesFromCompilerSignatures) {
    const std::pair<const char*, const char*> cases[] = {
        {"void ORBI_LUMO2D::Dt2::insert(std::vector<ORBI_LUMO2D::Point2>&)", "ORBI_LUMO2D::Dt2::insert"},
        {"std::pair<int, double> ORBI_LUMO2D::X::get() const", "ORBI_LUMO2D::X::get"},
        {"ORBI_LUMO2D::Zone2::Zone2(ORBI_LUMO2D::Dt2*, int)", "ORBI_LUMO2D::Zone2::Zone2"},
        {"bool ORBI_LUMO2D::Func::operator()(const A*, const B*) const", "ORBI_LUMO2D::Func::operator()"},
        {"bool ORBI_LUMO2D::Point2::operator<(const ORBI_LUMO2D::Point2&) const", "ORBI_LUMO2D::Point2::operator<"},
        {"std::ostream& ORBI_LUMO2D::operator<<(std::ostream&, const ORBI_LUMO2D::Point2&)", "ORBI_LUMO2D::operator<<"},
        {"T* ORBI_LUMO2D::Pool<T>::operator->() [with T = int]", "ORBI_LUMO2D::Pool<T>::operator->"},
        {"void ORBI_LUMO2D::f(T) [with T = std::map<int, int>]", "ORBI_LUMO2D::f"},
        {"ORBI_LUMO2D::Holder::operator bool() const", "ORBI_LUMO2D::Holder::operator bool"},
        {"int main()", "main"},
    };
    for (const auto& c : cases) EXPECT_EQ(qualifiedFunctionName(c.first), c.second) << c.first;
}

// ---- exceptions -------------------------------------------------------------------------

TEST(Messages, ExceptionTexts) {
    const std::string expected =
        "\n LUMO EXCEPTION due to a bug _or_ wrong usage of Lumo. If you think it is a \n"
        " bug then please report this incident and it will be fixed quickly: ";
    const std::string what = LumoException().what();
    ASSERT_GT(what.size(), expected.size());
    EXPECT_EQ(what.substr(0, expected.size()), expected);
    EXPECT_NE(what.find('@', expected.size()), std::string::npos);   // ends with a contact address
    EXPECT_EQ(std::string(LumoLicenseException().what()), what);
    const std::exception& e = LumoException();
    EXPECT_EQ(std::string(e.what()), what);
}

TEST(Messages, LicenseExceptionIsAStandardException) {
    EXPECT_THROW(throw LumoLicenseException(), std::exception);
}

// ---- timer ------------------------------------------------------------------------------

TEST(Timer, StartStopStartAgain) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(timer("a"), -1.0);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    const double elapsed = timer("a");
    EXPECT_EQ(timer("a"), -1.0);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_GE(elapsed, 0.0015);
    EXPECT_LT(elapsed, 600.0);
    std::ostringstream stop;
    stop.setf(std::ios::fixed);
    stop.precision(3);
    stop << elapsed;
    EXPECT_EQ(out, "...Timer [a] start\n...Timer [a] stop, elapsed time: " + stop.str() + " s\n...Timer [a] start\n");
    // Fixed notation, three decimals: "<digits>.<3 digits> s".
    EXPECT_TRUE(containsNumberBetween(out, "stop, elapsed time: ", ".")) << out;
    const size_t dot = out.find('.', out.find("elapsed time: "));
    ASSERT_NE(dot, std::string::npos);
    EXPECT_TRUE(std::isdigit(static_cast<unsigned char>(out[dot + 1])) && std::isdigit(static_cast<unsigned char>(out[dot + 2])) &&
                std::isdigit(static_cast<unsigned char>(out[dot + 3])) && out.compare(dot + 4, 3, " s\n") == 0)
        << out;
    testing::internal::CaptureStdout();
    timer("a");
    testing::internal::GetCapturedStdout();
}

TEST(Timer, QuietNamesPrintNothing) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(timer("[quiet] Delaunay point insertion"), -1.0);
    EXPECT_EQ(timer("[quiet]"), -1.0);
    EXPECT_GE(timer("[quiet] Delaunay point insertion"), 0.0);
    EXPECT_GE(timer("[quiet]"), 0.0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(Timer, ShortOrMisplacedTagIsNotQuiet) {
    testing::internal::CaptureStdout();
    timer("[quie");
    timer(" [quiet]");
    timer("[quie");
    timer(" [quiet]");
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.find("...Timer [[quie] start\n"), 0u);
    EXPECT_NE(out.find("...Timer [ [quiet]] start\n"), std::string::npos);
    EXPECT_NE(out.find("...Timer [[quie] stop, elapsed time: "), std::string::npos);
}

TEST(Timer, IndependentNames) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(timer("x"), -1.0);
    EXPECT_EQ(timer("y"), -1.0);
    EXPECT_GE(timer("x"), 0.0);
    EXPECT_EQ(timer("x"), -1.0);
    EXPECT_GE(timer("y"), 0.0);
    EXPECT_GE(timer("x"), 0.0);
    testing::internal::GetCapturedStdout();
}

TEST(Timer, HostStreamFormatSurvives) {
    testing::internal::CaptureStdout();
    timer("fmt");
    timer("fmt");
    std::cout << 1.0 / 3.0 << " " << 2.5 << "\n";
    std::cout << std::scientific;
    timer("fmt");
    timer("fmt");
    std::cout << 0.5 << "\n";
    std::cout << std::defaultfloat;
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("\n0.333333 2.5\n"), std::string::npos) << out;
    EXPECT_NE(out.find("\n5.000000e-01\n"), std::string::npos) << out;
}

// ---- publisher and receivers ------------------------------------------------------------

TEST(Publisher, SameReceiverTwiceIsStoredOnce) {
    MsgPublisher pub("TEST");
    Recorder r;
    pub.subscribe(MSG_PROGRESS, &r);
    pub.subscribe(MSG_PROGRESS, &r);
    pub.publish(MSG_PROGRESS, "t", 0.5);
    ASSERT_EQ(r.calls.size(), 1u);
    EXPECT_EQ(r.calls[0], std::make_tuple(MSG_PROGRESS, std::string("t"), 0.5));
    pub.unsubscribe(MSG_PROGRESS, &r);
    EXPECT_FALSE(pub.hasReceivers());
    pub.publish(MSG_PROGRESS, "t", 0.5);
    EXPECT_EQ(r.calls.size(), 1u);
}

TEST(Publisher, ReceiversAreCalledInRegistrationMapOrder) {
    MsgPublisher pub("TEST");
    std::vector<std::string> order;
    Recorder a, b, c;
    a.name = "a", b.name = "b", c.name = "c";
    a.order = b.order = c.order = &order;
    pub.subscribe(MSG_PROGRESS, &b);
    pub.subscribe(MSG_PROGRESS, &a);
    pub.subscribe(MSG_PROGRESS, &c);
    pub.publish(MSG_PROGRESS, "x", 0.25);
    EXPECT_EQ(order, (std::vector<std::string>{"b", "a", "c"}));
    pub.unsubscribe(MSG_PROGRESS, &a);
    order.clear();
    pub.publish(MSG_PROGRESS, "x", 0.25);
    EXPECT_EQ(order, (std::vector<std::string>{"b", "c"}));
    for (const Recorder* r : {&a, &b, &c}) EXPECT_EQ(std::get<2>(r->calls.front()), 0.25);
}

TEST(Publisher, UnsubscribingAStrangerChangesNothing) {
    MsgPublisher pub("TEST");
    Recorder r, stranger;
    pub.unsubscribe(MSG_PROGRESS, &stranger);   // nothing registered yet
    pub.subscribe(MSG_PROGRESS, &r);
    pub.unsubscribe(MSG_PROGRESS, &stranger);
    pub.publish(MSG_PROGRESS, "t", 0.1);
    EXPECT_EQ(r.calls.size(), 1u);
    EXPECT_TRUE(stranger.calls.empty());
    EXPECT_EQ(pub.getName(), "TEST");
}

TEST(Publisher, ProgressRisesStepwiseAndFinishesWithOne) {
    MsgPublisher pub("TEST");
    Recorder r;
    pub.subscribe(MSG_PROGRESS, &r);
    pub.start("insert vertices", 1000);
    for (int i = 0; i < 1000; ++i) pub.step();
    pub.finish();
    ASSERT_EQ(r.calls.size(), 100u);   // 99 intermediate reports (every 10 steps) and the final one
    double last = 0;
    for (size_t i = 0; i + 1 < r.calls.size(); ++i) {
        EXPECT_EQ(std::get<0>(r.calls[i]), MSG_PROGRESS);
        EXPECT_EQ(std::get<1>(r.calls[i]), "insert vertices");
        EXPECT_EQ(std::get<2>(r.calls[i]), double((i + 1) * 10) / 1000.0);
        EXPECT_GT(std::get<2>(r.calls[i]), last);
        last = std::get<2>(r.calls[i]);
    }
    EXPECT_EQ(r.calls.back(), std::make_tuple(MSG_PROGRESS, std::string("insert vertices"), 1.0));
}

TEST(Publisher, FinishAloneReportsOneAndClearsTheTask) {
    MsgPublisher pub("TEST");
    Recorder r;
    pub.subscribe(MSG_PROGRESS, &r);
    pub.start("getIllegalSegments", 7);   // reporting step 1
    pub.step();
    pub.finish();
    pub.finish();                          // the task is gone: the text is empty now
    ASSERT_EQ(r.calls.size(), 3u);
    EXPECT_EQ(r.calls[0], std::make_tuple(MSG_PROGRESS, std::string("getIllegalSegments"), 1.0 / 7.0));
    EXPECT_EQ(r.calls[1], std::make_tuple(MSG_PROGRESS, std::string("getIllegalSegments"), 1.0));
    EXPECT_EQ(r.calls[2], std::make_tuple(MSG_PROGRESS, std::string(""), 1.0));
}

TEST(Publisher, AdvanceReportsWhenAReportingStepIsPassed) {
    MsgPublisher pub("TEST");
    Recorder r;
    pub.subscribe(MSG_PROGRESS, &r);
    pub.start("establish constraints", 500);   // reporting step 5
    pub.advance(3);
    pub.advance(3);
    pub.advance(494);
    pub.finish();
    ASSERT_EQ(r.calls.size(), 2u);
    EXPECT_EQ(std::get<2>(r.calls[0]), 6.0 / 500.0);
    EXPECT_EQ(std::get<2>(r.calls[1]), 1.0);
}

TEST(Publisher, StartWithoutReceiversIsIgnored) {
    MsgPublisher pub("TEST");
    Recorder r;
    pub.start("early", 10);
    pub.subscribe(MSG_PROGRESS, &r);
    for (int i = 0; i < 10; ++i) pub.step();
    EXPECT_TRUE(r.calls.empty());   // no task was started
    pub.start("late", 10);
    pub.step();
    pub.finish();
    ASSERT_EQ(r.calls.size(), 2u);
    EXPECT_EQ(std::get<1>(r.calls[1]), "late");
}

TEST(Publisher, QuietAndDisabledPublishNothing) {
    for (int mode = 0; mode < 2; ++mode) {
        MsgPublisher pub("TEST");
        Recorder r;
        pub.subscribe(MSG_PROGRESS, &r);
        if (mode == 0) pub.setQuiet(true);
        else pub.setDisabled(true);
        pub.start("silent", 100);
        for (int i = 0; i < 100; ++i) pub.step();
        pub.finish();
        EXPECT_TRUE(r.calls.empty()) << mode;
    }
}

TEST(Publisher, ReceiversAreCopyable) {
    Recorder r;
    r.name = "orig";
    Recorder copy(r);
    Recorder assigned;
    assigned = r;
    EXPECT_EQ(copy.name, "orig");
    EXPECT_EQ(assigned.name, "orig");
    MsgBase* base = &copy;
    base->update(MSG_PROGRESS, "via base", 0.0);
    EXPECT_EQ(copy.calls.size(), 1u);
}
