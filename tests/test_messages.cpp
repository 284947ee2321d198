// Messages, the log file, the assertion convention, progress receivers and the named timer.
// Every text is captured from standard output and compared byte for byte.
#include <gtest/gtest.h>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <thread>
#include <tuple>
#include "Lumo_2D.h"
#include "MessageText.h"
#include "MsgPublisher.h"
#include "ScopedTempDir.h"
#include "tools.h"

using namespace ORBI_LUMO2D;

namespace {
using lumo_test::readFile;

// Tests touching "LUMO_LOG.txt" run in a directory of their own: CTest runs other test
// processes, which may log too, in parallel.
class LogDir : public testing::Test {
    lumo_test::ScopedTempDir tmp;
};

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
struct Holder {
    void member() const { LUMO_ASSERT(1+1==3); }
};
} // namespace lumo_test

// ---- report functions -------------------------------------------------------------------

TEST_F(LogDir, LayoutsOfErrorWarningAndInfoAndNothingOnStandardError) {
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    reportError("Lumo_2D::refine()", "angle bound too large");
    reportWarning("SegmentChecker::unsubscribe()", "No publisher present");
    reportInfo("Zone2::getArea2D()", "empty zone");
    reportInfo("", "no location");  // the tag only without a location
    EXPECT_THROW(lumo_test::failingCall(0), LumoException);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.substr(0, out.find("\n      [Lumo2D-Message] * Lumo")),
              "\n      [Lumo2D-Message] Lumo_2D::refine(), ERROR: angle bound too large\n\n"
              "\n      [Lumo2D-Message] SegmentChecker::unsubscribe(), WARNING: No publisher present\n\n"
              "\n      Zone2::getArea2D(), INFO: empty zone\n\n"
              "\n      [Lumo2D-Message] INFO: no location\n\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// ---- log file ---------------------------------------------------------------------------

TEST_F(LogDir, LogErrorPrintsAndRewritesTheLogFileAndAnUnwritableOneIsSilent) {
    EXPECT_EQ(lumo_test::stdoutOf([] {
                  logError("first line");
                  EXPECT_EQ(readFile("LUMO_LOG.txt"), "first line\n");
                  logError("second line");
              }), "first line\nsecond line\n");
    EXPECT_EQ(readFile("LUMO_LOG.txt"), "second line\n");
    std::filesystem::remove("LUMO_LOG.txt");
    std::filesystem::create_directory("LUMO_LOG.txt");  // a directory cannot be opened as the log
    EXPECT_EQ(lumo_test::stdoutOf([&] { logError("still printed"); }), "still printed\n");
}

// ---- assertions -------------------------------------------------------------------------

TEST_F(LogDir, AssertionPrintsTheFullReportLogsAndThrows) {
    EXPECT_EQ(lumo_test::stdoutOf([] { EXPECT_NO_THROW(lumo_test::failingCall(42)); }), "");  // a passing one does nothing
    EXPECT_FALSE(std::filesystem::exists("LUMO_LOG.txt"));
    EXPECT_EQ(lumo_test::stdoutOf([&] { EXPECT_THROW(lumo_test::failingCall(1), LumoException); }),
              "\n      [Lumo2D-Message] * Lumo, , ERROR: Condition [ v==42 failed ]\n\n"
              "* Lumo, Condition [ v==42 failed ]\n"
              "  " + std::string(__FILE__) + ":" + std::to_string(lumo_test::failLine) + "\n"
              "  Function: lumo_test::failingCall()\n");
    EXPECT_EQ(readFile("LUMO_LOG.txt"), "* Lumo, Condition [ v==42 failed ]\n");
    // A second failure leaves only its own line in the log; member functions are qualified.
    const std::string out = lumo_test::stdoutOf([] { EXPECT_THROW(lumo_test::Holder().member(), LumoException); });
    EXPECT_NE(out.find("  Function: lumo_test::Holder::member()\n"), std::string::npos) << out;
    EXPECT_EQ(readFile("LUMO_LOG.txt"), "* Lumo, Condition [ 1+1==3 failed ]\n");
}

// The library's own assertions name their source relative to the tree: test_predicates.cpp.

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
    EXPECT_THROW(throw LumoLicenseException(), std::exception);
}

// ---- timer ------------------------------------------------------------------------------

// Start, stop, start again; names are independent and only a leading "[quiet]" is quiet; the
// host's stream format survives.
TEST(Timer, StartStopQuietNamesAndTheHostStreamFormat) {
    double elapsed = 0;
    std::string out = lumo_test::stdoutOf([&] {
        EXPECT_EQ(timer("a"), -1.0);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        elapsed = timer("a");
        std::cout << 1.0 / 3.0 << " " << 2.5 << "\n" << std::scientific;
        EXPECT_EQ(timer("a"), -1.0);
        timer("a");
        std::cout << 0.5 << "\n" << std::defaultfloat;
    });
    EXPECT_TRUE(elapsed >= 0.0015 && elapsed < 600.0) << elapsed;
    std::ostringstream stop;
    stop << std::fixed << std::setprecision(3) << elapsed;  // fixed notation with three decimals
    EXPECT_EQ(out.substr(0, out.find("...Timer [a] stop", 60)),
              "...Timer [a] start\n...Timer [a] stop, elapsed time: " + stop.str() + " s\n0.333333 2.5\n...Timer [a] start\n");
    EXPECT_NE(out.find(" s\n5.000000e-01\n"), std::string::npos) << out;
    out = lumo_test::stdoutOf([&] {
        for (const char* name : {"x", "[quie", " [quiet]"}) EXPECT_EQ(timer(name), -1.0);
        EXPECT_GE(timer("x"), 0.0);
        EXPECT_EQ(timer("x"), -1.0);
        for (const char* name : {"[quie", " [quiet]", "x"}) EXPECT_GE(timer(name), 0.0);
        for (const char* quiet : {"[quiet] Delaunay point insertion", "[quiet]"}) {
            EXPECT_EQ(timer(quiet), -1.0);
            EXPECT_GE(timer(quiet), 0.0);
        }
    });
    EXPECT_EQ(out.find("...Timer [x] start\n...Timer [[quie] start\n...Timer [ [quiet]] start\n"), 0u) << out;
    EXPECT_EQ(out.find("...Timer [[quiet]"), std::string::npos) << out;
    EXPECT_NE(out.find("...Timer [[quie] stop, elapsed time: "), std::string::npos);
}

// ---- publisher and receivers ------------------------------------------------------------

TEST(Publisher, ReceiversOncePerTypeInMapOrder) {
    MsgPublisher pub("TEST");
    EXPECT_EQ(pub.getName(), "TEST");
    std::vector<std::string> order;
    Recorder a, b, c, stranger;
    a.name = "a", b.name = "b", c.name = "c";
    a.order = b.order = c.order = &order;
    pub.unsubscribe(MSG_PROGRESS, &stranger);  // nothing registered yet
    for (Recorder* r : {&b, &a, &b, &c}) pub.subscribe(MSG_PROGRESS, r);  // b twice: stored once
    pub.unsubscribe(MSG_PROGRESS, &stranger);
    pub.publish(MSG_PROGRESS, "x", 0.25);
    EXPECT_EQ(order, (std::vector<std::string>{"b", "a", "c"}));
    EXPECT_EQ(a.calls.front(), std::make_tuple(MSG_PROGRESS, std::string("x"), 0.25));
    for (Recorder* r : {&a, &c}) pub.unsubscribe(MSG_PROGRESS, r);
    pub.publish(MSG_PROGRESS, "x", 0.25);
    EXPECT_EQ(order, (std::vector<std::string>{"b", "a", "c", "b"}));
    pub.unsubscribe(MSG_PROGRESS, &b);
    EXPECT_FALSE(pub.hasReceivers());
    EXPECT_TRUE(stranger.calls.empty());
}

TEST(Publisher, ProgressProtocol) {
    using Calls = std::vector<std::pair<std::string, double>>;
    Calls everyTenth;  // 1000 steps: a report every 10 steps before the end, then the final 1.0
    for (int i = 1; i < 100; ++i) everyTenth.emplace_back("insert vertices", i * 10 / 1000.0);
    everyTenth.emplace_back("insert vertices", 1.0);
    auto silentTask = [](bool bQuiet) {
        return [bQuiet](MsgPublisher& p, Recorder& r) {
            p.subscribe(MSG_PROGRESS, &r);
            if (bQuiet) p.setQuiet(true);
            else p.setDisabled(true);
            p.start("silent", 100);
            for (int i = 0; i < 100; ++i) p.step();
            p.finish();
        };
    };
    const struct {
        const char* what;
        std::function<void(MsgPublisher&, Recorder&)> run;
        Calls expected;
    } aCases[] = {
        {"steps", [](MsgPublisher& p, Recorder& r) {
             p.subscribe(MSG_PROGRESS, &r);
             p.start("insert vertices", 1000);
             for (int i = 0; i < 1000; ++i) p.step();
             p.finish();
         }, everyTenth},
        {"finish twice: the task is gone the second time", [](MsgPublisher& p, Recorder& r) {
             p.subscribe(MSG_PROGRESS, &r);
             p.start("getIllegalSegments", 7);  // reporting step 1
             p.step();
             p.finish();
             p.finish();
         }, {{"getIllegalSegments", 1.0 / 7.0}, {"getIllegalSegments", 1.0}, {"", 1.0}}},
        {"advance reports when a reporting step is passed", [](MsgPublisher& p, Recorder& r) {
             p.subscribe(MSG_PROGRESS, &r);
             p.start("establish constraints", 500);  // reporting step 5
             for (size_t n : {3, 3, 494}) p.advance(n);
             p.finish();
         }, {{"establish constraints", 6.0 / 500.0}, {"establish constraints", 1.0}}},
        {"a start without receivers is ignored", [](MsgPublisher& p, Recorder& r) {
             p.start("early", 10);
             p.subscribe(MSG_PROGRESS, &r);
             for (int i = 0; i < 10; ++i) p.step();
             p.start("late", 10);
             p.step();
             p.finish();
         }, {{"late", 0.1}, {"late", 1.0}}},
        {"a growing total: the rest of the bar spread over what is left", [](MsgPublisher& p, Recorder& r) {
             p.subscribe(MSG_PROGRESS, &r);
             p.start("refine", 4);
             for (int i = 0; i < 2; ++i) p.step();
             p.addToTotal(4);
             for (int i = 0; i < 6; ++i) p.step();
             p.finish();
         }, {{"refine", 0.25}, {"refine", 0.5}, {"refine", 0.5 + 0.5 * 1 / 6.0}, {"refine", 0.5 + 0.5 * 2 / 6.0},
             {"refine", 0.5 + 0.5 * 3 / 6.0}, {"refine", 0.5 + 0.5 * 4 / 6.0}, {"refine", 0.5 + 0.5 * 5 / 6.0},
             {"refine", 1.0}}},
        {"quiet", silentTask(true), {}},
        {"disabled", silentTask(false), {}},
    };
    for (const auto& c : aCases) {
        MsgPublisher pub("TEST");
        Recorder r;
        c.run(pub, r);
        Calls got;
        for (const auto& call : r.calls) {
            EXPECT_EQ(std::get<0>(call), MSG_PROGRESS);
            got.emplace_back(std::get<1>(call), std::get<2>(call));
        }
        EXPECT_EQ(got, c.expected) << c.what;
    }
}
