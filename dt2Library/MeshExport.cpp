#include "MeshExport_internal.h"
#include <sys/stat.h>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <unordered_map>
#include "MeshExport.h"
#include "tools.h"
#include "webFiles.h"

namespace ORBI_LUMO2D {

void writeObjTriangles(const std::string& filename, const std::vector<Triangle2*>& vTriangles) {
    std::vector<Point2> vVertices;
    std::vector<std::array<size_t, 3>> vFaces(vTriangles.size());
    std::unordered_map<const Point2*, size_t> mIndex;
    mIndex.reserve(vTriangles.size());
    for (size_t k = 0; k < vTriangles.size(); ++k) {
        for (int i = 0; i < 3; ++i) {
            const Point2* p = vTriangles[k]->getCorner(i);
            auto res = mIndex.emplace(p, mIndex.size());
            if (res.second) vVertices.push_back(*p);
            vFaces[k][size_t(i)] = res.first->second;
        }
    }
    writeObjFaces(filename, vVertices, {}, vFaces);
}

namespace {
// Text of a file built in a buffer that goes out in large pieces. Numbers are formatted by
// to_chars, as printf formats them ("%.20g" for a double with precision 20) but without the
// stream's per-number locale and buffer work, which made a million-vertex file take seconds.
class TextBuffer {
public:
    explicit TextBuffer(std::ofstream& out_) : out(out_) { buf.reserve(CAPACITY + 64); }
    ~TextBuffer() { flush(); }
    TextBuffer& operator<<(const char* s) {
        buf.append(s);
        return spill();
    }
    TextBuffer& operator<<(size_t v) {
        char a[24];
        buf.append(a, std::to_chars(a, a + sizeof(a), v).ptr);
        return spill();
    }
    TextBuffer& operator<<(double v) {
        char a[64];
        buf.append(a, std::to_chars(a, a + sizeof(a), v, std::chars_format::general, 20).ptr);
        return spill();
    }
    void flush() {
        out.write(buf.data(), std::streamsize(buf.size()));
        buf.clear();
    }

private:
    TextBuffer& spill() {
        if (buf.size() >= CAPACITY) flush();
        return *this;
    }
    static const size_t CAPACITY = size_t(1) << 20;
    std::ofstream& out;
    std::string buf;
};
} // namespace

bool writeObjFaces(const std::string& filename, const std::vector<Point2>& vVertices,
                   const std::vector<std::array<size_t, 4>>& vQuads,
                   const std::vector<std::array<size_t, 3>>& vTriangles) {
    std::ofstream out(filename.c_str(), std::ios::out | std::ios::trunc);
    if (!out) return false;
    {
        TextBuffer text(out);
        for (const Point2& p : vVertices) text << "v " << p.x() << " " << p.y() << " 0 \n";
        for (const auto& q : vQuads) text << "f " << q[0] + 1 << " " << q[1] + 1 << " " << q[2] + 1 << " " << q[3] + 1 << "\n";
        for (const auto& t : vTriangles) text << "f " << t[0] + 1 << " " << t[1] + 1 << " " << t[2] + 1 << "\n";
    }
    return bool(out);
}

bool writeWebSceneFiles(const char* path) {
    if (!createDirectory(path)) {
        reportError("Dt2::writeWebScene()", std::string("Can't create directory ") + path);
        return false;
    }
    std::cout << "writeWebScene: Creating " << path << std::endl;
    for (const char* name : {"index.html", "jsc3d.js", "jsc3d.ctm.js", "jsc3d.touch.js"}) fileReplicate(name, path);
    return true;
}

namespace {
bool isDirectory(const char* path) {
    struct stat st;
    return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}
} // namespace

bool createDirectory(const char* path) {
    if (path == nullptr) {
        reportWarning("createDirectory()", "path is null, nothing created");
        return false;
    }
    if (mkdir(path, 0755) == 0) return true;
    if (errno == EEXIST) return isDirectory(path);
    if (errno != ENOENT) return false;
    // A parent is missing: create it first, then retry.
    const std::string s(path);
    size_t sep = s.rfind('/');
    if (sep == std::string::npos) sep = s.rfind('\\');
    if (sep == std::string::npos) return false;
    if (!createDirectory(s.substr(0, sep).c_str())) return false;
    // A trailing separator names the parent itself, which exists by now.
    return mkdir(path, 0755) == 0 || (errno == EEXIST && isDirectory(path));
}

void fileReplicate(const char* name, const char* directory) {
    if (name == nullptr || directory == nullptr) {
        reportError("fileReplicate", "null name or directory, nothing written");
        return;
    }
    for (size_t i = 0; i < numWebFiles; ++i) {
        const EmbeddedFile& f = aWebFiles[i];
        if (std::strcmp(f.name, name) != 0) continue;
        std::ofstream out((std::string(directory) + "/" + name).c_str(), std::ios::out | std::ios::trunc | std::ios::binary);
        for (size_t k = 0; k < f.size && out; ++k) out.put(f.data[k]);
        return;
    }
    reportError("fileReplicate", std::string("unknown file") + name);
}

} // namespace ORBI_LUMO2D
