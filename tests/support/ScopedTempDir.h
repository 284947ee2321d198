// Runs a test body in a private working directory, so that files the library writes there
// (the assertion log "LUMO_LOG.txt") do not collide with other tests running in parallel.
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

private:
    std::string oldDir;
    std::string dir;
};

} // namespace lumo_test
