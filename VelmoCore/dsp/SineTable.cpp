#include "dsp/SineTable.h"

#include <array>

namespace velmo::SineTable {

namespace {

std::array<float, kSize + 1> build() {
    std::array<float, kSize + 1> table{};
    table[0] = 0.0f;
    for (int i = 1; i <= kSize; ++i)
        table[i] = static_cast<float>(std::sin((static_cast<double>(i) * 6.283185307179586) * 0.000244140625));
    return table;
}

} // namespace

const float* ptr() {
    static const std::array<float, kSize + 1> table = build(); // thread-safe static init
    return table.data();
}

} // namespace velmo::SineTable
