// The defining property of a Hilbert order, for the two implementations (HC2, the R-tree's).
#pragma once
#include <gtest/gtest.h>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

namespace lumo_test {

// keyOf(x, y) over the side x side cells: every key in [0, side^2) exactly once, and
// consecutive keys in edge-adjacent cells. Returns the cell of key 0.
template <class KeyOf> std::pair<int, int> expectHilbertCurve(int side, KeyOf keyOf) {
    std::vector<std::pair<int, int>> cellOfKey(size_t(side) * size_t(side), {-1, -1});
    for (int x = 0; x < side; ++x)
        for (int y = 0; y < side; ++y) {
            const uint64_t k = keyOf(x, y);
            if (k >= cellOfKey.size() || cellOfKey[k].first != -1) {
                ADD_FAILURE() << "key " << k << " out of range or used twice";
                return {-1, -1};
            }
            cellOfKey[k] = {x, y};
        }
    for (size_t k = 1; k < cellOfKey.size(); ++k)
        EXPECT_EQ(std::abs(cellOfKey[k].first - cellOfKey[k - 1].first) +
                      std::abs(cellOfKey[k].second - cellOfKey[k - 1].second), 1) << "keys " << k - 1 << " and " << k;
    return cellOfKey[0];
}

} // namespace lumo_test
