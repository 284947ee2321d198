// Runs a test body in a private working directory, so that files the library writes there
// (the assertion log "LUMO_LOG.txt", drawings, exports) do not collide with other tests running
// in parallel; and the small file helpers that such tests need.
#pragma once
#include <string>

namespace lumo_test {

class ScopedTempDir {
public:
    ScopedTempDir();
    ~ScopedTempDir();
    ScopedTempDir(const ScopedTempDir&) = delete;
    ScopedTempDir& operator=(const ScopedTempDir&) = delete;
    const std::string& path() const { return dir; }
    // name inside the directory.
    std::string file(const std::string& name) const { return dir + "/" + name; }

private:
    std::string oldDir;
    std::string dir;
};

// The whole file as bytes ("" when it cannot be read).
std::string readFile(const std::string& name);
// Writes bytes to a file (replacing it); false when it cannot be written.
bool writeFile(const std::string& name, const std::string& bytes);
bool fileExists(const std::string& name);
// How often part occurs in text (overlapping occurrences counted).
size_t countOf(const std::string& text, const std::string& part);

} // namespace lumo_test
