#include "tools.h"
#include <cstdio>
#include <cstring>
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
    // The parameter list starts at the first '(' outside template brackets. Operator names
    // ("operator()", "operator<<", "operator->") are stepped over so that their symbols
    // count neither as brackets nor as the parameter list.
    int depth = 0;
    size_t paren = s.size(), opPos = std::string::npos;
    for (size_t i = 0; i < s.size(); ++i) {
        const char c = s[i];
        if (c == 'o' && s.compare(i, 8, "operator") == 0 && (i == 0 || s[i - 1] == ':' || s[i - 1] == ' ')) {
            opPos = i;
            size_t j = i + 8;
            if (s.compare(j, 2, "()") == 0) j += 2;
            else
                while (j < s.size() && std::strchr("<>=!+-*/%^&|~[],", s[j]) != nullptr) ++j;
            i = j - 1;
        } else if (c == '<') {
            ++depth;
        } else if (c == '>') {
            --depth;
        } else if (c == '(' && depth == 0) {
            paren = i;
            break;
        }
    }
    // The name begins after the last blank outside template brackets (return type before it).
    const size_t scanEnd = opPos != std::string::npos && opPos < paren ? opPos : paren;
    depth = 0;
    for (size_t i = scanEnd; i-- > 0;) {
        const char c = s[i];
        if (c == '>') ++depth;
        else if (c == '<') --depth;
        else if (c == ' ' && depth == 0) return s.substr(i + 1, paren - i - 1);
    }
    return s.substr(0, paren);
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
