// The library's message lines as the tests expect them, for exact comparisons of captured output.
#pragma once
#include <gtest/gtest.h>
#include <cctype>
#include <algorithm>
#include <string>
#include <utility>
#include <vector>
#include "MsgBase.h"

namespace lumo_test {

inline std::string message(const std::string& where, const char* kind, const std::string& text) {
    return "\n      [Lumo2D-Message] " + where + ", " + kind + ": " + text + "\n\n";
}
inline std::string warning(const std::string& where, const std::string& text) { return message(where, "WARNING", text); }
inline std::string error(const std::string& where, const std::string& text) { return message(where, "ERROR", text); }

// What f prints on standard output.
template <class F> std::string stdoutOf(F&& f) {
    testing::internal::CaptureStdout();
    f();
    return testing::internal::GetCapturedStdout();
}

// Records the progress reports a receiver gets.
struct ProgressLog : ORBI_LUMO2D::MsgBase {
    std::vector<std::pair<std::string, double>> v;
    void update(ORBI_LUMO2D::MsgType type, const std::string& text, double value) override {
        EXPECT_EQ(type, ORBI_LUMO2D::MSG_PROGRESS);
        v.emplace_back(text, value);
    }
    // The values reported under title; empty unless they rise to a last one of 1.0.
    std::vector<double> rising(const std::string& title) const {
        std::vector<double> r;
        for (const auto& e : v)
            if (e.first == title) r.push_back(e.second);
        const bool bRising = !r.empty() && std::is_sorted(r.begin(), r.end()) && r.back() == 1.0;
        EXPECT_TRUE(bRising) << title << ": " << r.size() << " reports";
        return bRising ? r : std::vector<double>();
    }
};

// The self-test of dt with the empty-circle check, its report swallowed.
template <class TriangulationT> bool isValidQuietly(const TriangulationT& dt, const std::string& name = "test") {
    bool bValid = false;
    stdoutOf([&] { bValid = dt.checkValidity(true, name); });
    return bValid;
}

// The report of a failed assertion, with its source position masked as normalized() does.
inline std::string assertion(const std::string& condition, const std::string& function) {
    const std::string cond = "Condition [ " + condition + " failed ]";
    return error("* Lumo, ", cond) + "* Lumo, " + cond + "\n  SOURCE\n  Function: " + function + "()\n";
}

// Captured output with what differs from run to run and build to build masked: addresses
// become "ADDR", an assertion's "  <file>:<line>" line becomes "  SOURCE".
inline std::string normalized(const std::string& out) {
    std::string r;
    for (size_t i = 0; i < out.size();) {
        if (out.compare(i, 2, "0x") == 0 && i + 2 < out.size() && std::isxdigit(static_cast<unsigned char>(out[i + 2]))) {
            r += "ADDR";
            for (i += 2; i < out.size() && std::isxdigit(static_cast<unsigned char>(out[i])); ++i) {}
            continue;
        }
        // A line "  <path without blanks>:<digits>".
        if (out.compare(i, 3, "\n  ") == 0) {
            const size_t end = out.find('\n', i + 3), colon = out.rfind(':', end);
            if (end != std::string::npos && colon != std::string::npos && colon > i + 3 && colon + 1 < end &&
                out.find(' ', i + 3) > colon &&
                out.find_first_not_of("0123456789", colon + 1) == end) {
                r += "\n  SOURCE";
                i = end;
                continue;
            }
        }
        r += out[i++];
    }
    return r;
}

} // namespace lumo_test
