// Messages, the log file, the assertion convention, progress receivers and the named timer.
// Every text is captured from standard output and compared byte for byte.
#include <gtest/gtest.h>
#include <filesystem>
#include <functional>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <thread>
#include "Lumo_2D.h"
#include "MessageText.h"
#include "MsgPublisher.h"
#include "ScopedTempDir.h"
#include "tools.h"

using namespace ORBI_LUMO2D;
using lumo_test::readFile;
using lumo_test::ProgressLog;
using lumo_test::stdoutOf;

namespace {
// Tests touching "LUMO_LOG.txt" run in a directory of their own: CTest runs other test
// processes, which may log too, in parallel.
class LogDir : public testing::Test {
    lumo_test::ScopedTempDir tmp;
};

// Records every notification, and itself into a shared order.
struct Recorder : public ProgressLog {
    std::vector<const Recorder*>* order{nullptr};
    void update(MsgType type, const std::string& text, double value) override {
        ProgressLog::update(type, text, value);
        if (order) order->push_back(this);
    }
};
} // namespace

namespace lumo_test {
int failLine = 0;
void failingCall(int v) { failLine = __LINE__; LUMO_ASSERT(v==42); }
} // namespace lumo_test

// ---- report functions, log file, assertions ---------------------------------------------

TEST_F(LogDir, LayoutsOfErrorWarningAndInfoAndNothingOnStandardError) {
    testing::internal::CaptureStderr();
    const std::string out = stdoutOf([] {
        reportError("Lumo_2D::refine()", "angle bound too large");
        reportWarning("SegmentChecker::unsubscribe()", "No publisher present");
        reportInfo("Zone2::getArea2D()", "empty zone");
        reportInfo("", "no location");  // the tag only without a location
    });
    EXPECT_EQ(out, "\n      [Lumo2D-Message] Lumo_2D::refine(), ERROR: angle bound too large\n\n"
                   "\n      [Lumo2D-Message] SegmentChecker::unsubscribe(), WARNING: No publisher present\n\n"
                   "\n      Zone2::getArea2D(), INFO: empty zone\n\n"
                   "\n      [Lumo2D-Message] INFO: no location\n\n");
    stdoutOf([] { EXPECT_THROW(lumo_test::failingCall(0), LumoException); });   // an assertion's report too
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(LogDir, LogErrorPrintsAndRewritesTheLogFileAndAnUnwritableOneIsSilent) {
    EXPECT_EQ(stdoutOf([] {
                  logError("first line");
                  EXPECT_EQ(readFile("LUMO_LOG.txt"), "first line\n");
                  logError("second line");
              }), "first line\nsecond line\n");
    EXPECT_EQ(readFile("LUMO_LOG.txt"), "second line\n");
    std::filesystem::remove("LUMO_LOG.txt");
    std::filesystem::create_directory("LUMO_LOG.txt");  // a directory cannot be opened as the log
    EXPECT_EQ(stdoutOf([] { logError("still printed"); }), "still printed\n");
}

// The library's own assertions name their source relative to the tree: test_predicates.cpp.
TEST_F(LogDir, AssertionPrintsTheFullReportLogsAndThrows) {
    EXPECT_EQ(stdoutOf([] { EXPECT_NO_THROW(lumo_test::failingCall(42)); }), "");  // a passing one does nothing
    EXPECT_FALSE(std::filesystem::exists("LUMO_LOG.txt"));
    EXPECT_EQ(stdoutOf([] { EXPECT_THROW(lumo_test::failingCall(1), LumoException); }),
              "\n      [Lumo2D-Message] * Lumo, , ERROR: Condition [ v==42 failed ]\n\n"
              "* Lumo, Condition [ v==42 failed ]\n"
              "  " + std::string(__FILE__) + ":" + std::to_string(lumo_test::failLine) + "\n"
              "  Function: lumo_test::failingCall()\n");
    stdoutOf([] { EXPECT_THROW(lumo_test::failingCall(2), LumoException); });
    EXPECT_EQ(readFile("LUMO_LOG.txt"), "* Lumo, Condition [ v==42 failed ]\n");   // rewritten by each failure
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

TEST(Messages, ExceptionTexts) {
    const std::string expected =
        "\n LUMO EXCEPTION due to a bug _or_ wrong usage of Lumo. If you think it is a \n"
        " bug then please report this incident and it will be fixed quickly: ";
    const std::string what = LumoException().what();
    EXPECT_EQ(what.substr(0, expected.size()), expected);
    EXPECT_NE(what.find('@', expected.size()), std::string::npos);   // ends with a contact address
    EXPECT_EQ(std::string(LumoLicenseException().what()), what);
}

// ---- timer ------------------------------------------------------------------------------

// Start, stop, start again; names are independent and only a leading "[quiet]" is quiet; the
// host's stream format survives.
TEST(Timer, StartStopQuietNamesAndTheHostStreamFormat) {
    double elapsed = 0;
    std::string out = stdoutOf([&] {
        EXPECT_EQ(timer("a"), -1.0);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        elapsed = timer("a");
        std::cout << 1.0 / 3.0 << "\n" << std::scientific;
        EXPECT_EQ(timer("a"), -1.0);
        timer("a");
        std::cout << 0.5 << "\n" << std::defaultfloat;
    });
    EXPECT_TRUE(elapsed >= 0.0015 && elapsed < 600.0) << elapsed;
    std::ostringstream stop;
    stop << std::fixed << std::setprecision(3) << elapsed;  // fixed notation with three decimals
    EXPECT_EQ(out.substr(0, out.find("...Timer [a] stop", 60)),
              "...Timer [a] start\n...Timer [a] stop, elapsed time: " + stop.str() + " s\n0.333333\n...Timer [a] start\n");
    EXPECT_NE(out.find(" s\n5.000000e-01\n"), std::string::npos) << out;
    out = stdoutOf([] {
        for (const char* name : {"x", "[quie", " [quiet]"}) EXPECT_EQ(timer(name), -1.0);
        for (const char* name : {"[quie", " [quiet]", "x"}) EXPECT_GE(timer(name), 0.0);
        for (const char* quiet : {"[quiet] Delaunay point insertion", "[quiet]"}) {
            EXPECT_EQ(timer(quiet), -1.0);
            EXPECT_GE(timer(quiet), 0.0);
        }
    });
    EXPECT_EQ(out.find("...Timer [x] start\n...Timer [[quie] start\n...Timer [ [quiet]] start\n...Timer [[quie] stop, "), 0u)
        << out;
    EXPECT_EQ(out.find("...Timer [[quiet]"), std::string::npos) << out;
}

// ---- publisher and receivers ------------------------------------------------------------

TEST(Publisher, ReceiversOncePerTypeInMapOrder) {
    MsgPublisher pub("TEST");
    std::vector<const Recorder*> order;
    Recorder a, b, c, stranger;
    a.order = b.order = c.order = &order;
    pub.unsubscribe(MSG_PROGRESS, &stranger);  // nothing registered yet
    for (Recorder* r : {&b, &a, &b, &c}) pub.subscribe(MSG_PROGRESS, r);  // b twice: stored once
    pub.unsubscribe(MSG_PROGRESS, &stranger);
    pub.publish(MSG_PROGRESS, "x", 0.25);
    EXPECT_EQ(a.v, (std::vector<std::pair<std::string, double>>{{"x", 0.25}}));
    for (Recorder* r : {&a, &c}) pub.unsubscribe(MSG_PROGRESS, r);
    pub.publish(MSG_PROGRESS, "x", 0.25);
    EXPECT_EQ(order, (std::vector<const Recorder*>{&b, &a, &c, &b}));
    pub.unsubscribe(MSG_PROGRESS, &b);
    EXPECT_FALSE(pub.hasReceivers());
    EXPECT_TRUE(stranger.v.empty());
}

// The reports a receiver subscribed before each task gets, compared exactly.
TEST(Publisher, ProgressProtocol) {
    using Calls = std::vector<std::pair<std::string, double>>;
    Calls everyTenth;  // 1000 steps: a report every 10 steps before the end, then the final 1.0
    for (int i = 1; i < 100; ++i) everyTenth.emplace_back("insert vertices", i * 10 / 1000.0);
    everyTenth.emplace_back("insert vertices", 1.0);
    auto steps = [](MsgPublisher& p, const char* task, int total, int numSteps) {
        p.start(task, size_t(total));
        for (int i = 0; i < numSteps; ++i) p.step();
    };
    const struct {
        const char* what;
        std::function<void(MsgPublisher&, ProgressLog&)> run;
        Calls expected;
    } aCases[] = {
        {"steps", [&](MsgPublisher& p, ProgressLog&) { steps(p, "insert vertices", 1000, 1000); p.finish(); }, everyTenth},
        {"finish twice: the task is gone the second time",   // reporting step 1
         [&](MsgPublisher& p, ProgressLog&) { steps(p, "getIllegalSegments", 7, 1); p.finish(); p.finish(); },
         {{"getIllegalSegments", 1.0 / 7.0}, {"getIllegalSegments", 1.0}, {"", 1.0}}},
        {"advance reports when a reporting step is passed", [](MsgPublisher& p, ProgressLog&) {
             p.start("establish constraints", 500);  // reporting step 5
             for (size_t n : {3, 3, 494}) p.advance(n);
             p.finish();
         }, {{"establish constraints", 6.0 / 500.0}, {"establish constraints", 1.0}}},
        {"a start without receivers is ignored", [&](MsgPublisher& p, ProgressLog& r) {
             p.unsubscribe(MSG_PROGRESS, &r);
             p.start("early", 10);
             p.subscribe(MSG_PROGRESS, &r);
             for (int i = 0; i < 10; ++i) p.step();
             steps(p, "late", 10, 1);
             p.finish();
         }, {{"late", 0.1}, {"late", 1.0}}},
        {"a growing total: the rest of the bar spread over what is left", [&](MsgPublisher& p, ProgressLog&) {
             steps(p, "refine", 4, 2);
             p.addToTotal(4);
             for (int i = 0; i < 6; ++i) p.step();
             p.finish();
         }, {{"refine", 0.25}, {"refine", 0.5}, {"refine", 0.5 + 0.5 * 1 / 6.0}, {"refine", 0.5 + 0.5 * 2 / 6.0},
             {"refine", 0.5 + 0.5 * 3 / 6.0}, {"refine", 0.5 + 0.5 * 4 / 6.0}, {"refine", 0.5 + 0.5 * 5 / 6.0},
             {"refine", 1.0}}},
        {"quiet", [&](MsgPublisher& p, ProgressLog&) { p.setQuiet(true); steps(p, "silent", 100, 100); p.finish(); }, {}},
        {"disabled", [&](MsgPublisher& p, ProgressLog&) { p.setDisabled(true); steps(p, "silent", 100, 100); p.finish(); }, {}},
    };
    for (const auto& c : aCases) {
        MsgPublisher pub("TEST");
        ProgressLog r;
        pub.subscribe(MSG_PROGRESS, &r);
        c.run(pub, r);
        EXPECT_EQ(r.v, c.expected) << c.what;
    }
}
