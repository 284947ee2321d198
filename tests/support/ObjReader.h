// Reads Wavefront OBJ files as the library writes them: "v x y 0" lines, then "f" lines of
// 1-based vertex indices (three or four); any other line, or a z other than 0, is a test failure.
#pragma once
#include <gtest/gtest.h>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace lumo_test {

struct Obj {
    std::vector<std::pair<double, double>> vertices;
    std::vector<std::vector<int>> faces;   // 1-based, as in the file
};

inline Obj readObj(const std::string& name) {
    Obj obj;
    std::ifstream f(name);
    for (std::string line; std::getline(f, line);) {
        std::istringstream ls(line);
        std::string tag;
        ls >> tag;
        if (tag == "v") {
            double x, y, z;
            ls >> x >> y >> z;
            EXPECT_EQ(z, 0.0);
            obj.vertices.emplace_back(x, y);
        } else if (tag == "f") {
            std::vector<int> face;
            for (int i; ls >> i;) face.push_back(i);
            obj.faces.push_back(face);
        } else {
            ADD_FAILURE() << "unexpected line: " << line;
        }
    }
    return obj;
}

} // namespace lumo_test
