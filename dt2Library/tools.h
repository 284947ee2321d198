// Message lines, the log file and the one assertion convention of the library.
#pragma once
#include <string>
#include "LumoException.h"

namespace ORBI_LUMO2D {

// Text to standard output and, alone, to "LUMO_LOG.txt" (rewritten each time).
void logError(const std::string& text);
// "      [Lumo2D-Message] <where>, ERROR: <text>" between two empty lines.
void reportError(const std::string& where, const std::string& text);
void reportWarning(const std::string& where, const std::string& text);
void reportInfo(const std::string& where, const std::string& text);

// Reports a failed condition (message, log line, source position, function) and throws LumoException.
[[noreturn]] void assertionFailed(const char* condition, const char* file, int line, const char* prettyFunction);
// "ORBI_LUMO2D::Vector2::orthogonalVector" from a compiler's pretty function signature.
std::string qualifiedFunctionName(const char* prettyFunction);

} // namespace ORBI_LUMO2D

// The library's one assertion: a broken internal condition or wrong usage throws LumoException.
#define LUMO_ASSERT(cond)                                                                   \
    do {                                                                                    \
        if (!(cond)) ::ORBI_LUMO2D::assertionFailed(#cond, __FILE__, __LINE__, __PRETTY_FUNCTION__); \
    } while (0)
