#include "ScopedTempDir.h"
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace lumo_test {

ScopedTempDir::ScopedTempDir() {
    oldDir = std::filesystem::current_path().string();
    std::string pattern = (std::filesystem::temp_directory_path() / "lumo_test_XXXXXX").string();
    if (mkdtemp(&pattern[0]) != nullptr) {
        dir = pattern;
        std::filesystem::current_path(dir);
    }
}

ScopedTempDir::~ScopedTempDir() {
    std::error_code ec;
    std::filesystem::current_path(oldDir, ec);
    if (!dir.empty()) std::filesystem::remove_all(dir, ec);
}

} // namespace lumo_test
