#include "ScopedTempDir.h"
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
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

std::string readFile(const std::string& name) {
    std::ifstream f(name, std::ios::binary);
    std::ostringstream os;
    os << f.rdbuf();
    return os.str();
}

bool writeFile(const std::string& name, const std::string& bytes) {
    std::ofstream f(name, std::ios::binary);
    f << bytes;
    return bool(f);
}

bool fileExists(const std::string& name) { return std::ifstream(name).good(); }

size_t countOf(const std::string& text, const std::string& part) {
    size_t n = 0;
    for (size_t pos = text.find(part); pos != std::string::npos; pos = text.find(part, pos + 1)) ++n;
    return n;
}

} // namespace lumo_test
