#include "tools.h"
#include <cstdio>
#include <fstream>
#include <iostream>

namespace ORBI_LUMO2D {

namespace {
const char* const exceptionText =
    "\n LUMO EXCEPTION due to a bug _or_ wrong usage of Lumo. If you think it is a \n"
    " bug then please report this incident and it will be fixed quickly: bugs@lumo2d.org";

void reportTagged(const std::string& where, const char* kind, const std::string& text) {
    std::cout << "\n      [Lumo2D-Message] " << where << kind << text << "\n" << std::endl;
}
} // namespace

const char* LumoException::what() const noexcept { return exceptionText; }
const char* LumoLicenseException::what() const noexcept { return exceptionText; }

void logError(const std::string& text) {
    std::cout << text << std::endl;
    // Deliberately truncated on every line: the file holds the most recent failure only.
    std::ofstream f("LUMO_LOG.txt", std::ios::out | std::ios::trunc);
    if (f) f << text << "\n";
}

void reportError(const std::string& where, const std::string& text) { reportTagged(where, ", ERROR: ", text); }
void reportWarning(const std::string& where, const std::string& text) { reportTagged(where, ", WARNING: ", text); }

void reportInfo(const std::string& where, const std::string& text) {
    if (where.empty()) std::cout << "\n      [Lumo2D-Message] INFO: " << text << "\n" << std::endl;
    else std::cout << "\n      " << where << ", INFO: " << text << "\n" << std::endl;
}

std::string qualifiedFunctionName(const char* prettyFunction) {
    const std::string s(prettyFunction);
    // The parameter list starts at the first '(' outside template brackets that is not part
    // of an "operator()" name.
    int depth = 0;
    size_t paren = std::string::npos;
    for (size_t i = 0; i < s.size(); ++i) {
        const char c = s[i];
        if (c == '<') ++depth;
        else if (c == '>') --depth;
        else if (c == '(' && depth == 0) {
            if (i >= 8 && s.compare(i - 8, 8, "operator") == 0 && i + 1 < s.size() && s[i + 1] == ')') {
                ++i;
                continue;
            }
            paren = i;
            break;
        }
    }
    std::string head = s.substr(0, paren);
    depth = 0;
    for (size_t i = head.size(); i-- > 0;) {
        const char c = head[i];
        if (c == '>') ++depth;
        else if (c == '<') --depth;
        else if (c == ' ' && depth == 0) return head.substr(i + 1);
    }
    return head;
}

void assertionFailed(const char* condition, const char* file, int line, const char* prettyFunction) {
    const std::string cond = std::string("Condition [ ") + condition + " failed ]";
    reportError("* Lumo, ", cond);
    logError("* Lumo, " + cond);
    std::cout << "  " << file << ":" << line << std::endl;
    std::cout << "  Function: " << qualifiedFunctionName(prettyFunction) << "()" << std::endl;
    throw LumoException();
}

} // namespace ORBI_LUMO2D
