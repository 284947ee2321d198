// The library's message lines as the tests expect them, for exact comparisons of captured output.
#pragma once
#include <regex>
#include <string>

namespace lumo_test {

inline std::string message(const std::string& where, const char* kind, const std::string& text) {
    return "\n      [Lumo2D-Message] " + where + ", " + kind + ": " + text + "\n\n";
}
inline std::string warning(const std::string& where, const std::string& text) { return message(where, "WARNING", text); }
inline std::string error(const std::string& where, const std::string& text) { return message(where, "ERROR", text); }

// The report of a failed assertion, with its source position masked as normalized() does.
inline std::string assertion(const std::string& condition, const std::string& function) {
    const std::string cond = "Condition [ " + condition + " failed ]";
    return error("* Lumo, ", cond) + "* Lumo, " + cond + "\n  SOURCE\n  Function: " + function + "()\n";
}

// Captured output with what differs from run to run and build to build masked: addresses
// become "ADDR", an assertion's "  <file>:<line>" becomes "  SOURCE".
inline std::string normalized(const std::string& out) {
    const std::string s = std::regex_replace(out, std::regex("0x[0-9a-f]+"), "ADDR");
    return std::regex_replace(s, std::regex("\n  [^ \n]+:[0-9]+\n"), "\n  SOURCE\n");
}

} // namespace lumo_test
