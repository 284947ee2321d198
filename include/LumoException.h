// The only exceptions the library throws: a broken internal condition or wrong usage
// (LumoException) and a licence limit (LumoLicenseException).
#pragma once
#include <exception>
#include "Lumo2D_defs.h"

namespace ORBI_LUMO2D {

class LUMO2D_API LumoException : public std::exception {
public:
    const char* what() const noexcept override;
};

class LUMO2D_API LumoLicenseException : public std::exception {
public:
    const char* what() const noexcept override;
};

} // namespace ORBI_LUMO2D
