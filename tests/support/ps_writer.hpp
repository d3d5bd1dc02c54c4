// A test-side writer of ps_data(): header, frame class and borders, IID/ICC in either
// difference direction, and the IPD/OPD extension.
#pragma once

#include <cstdint>
#include <vector>

#include "huffman_tree.hpp"
#include "support/bit_builder.hpp"

namespace zemtest {

using Values = std::vector<std::vector<int>>; // [envelope][band]

struct Frame {
    bool header = true;
    int iidMode = 1, iccMode = 1;
    bool iid = true, icc = true, ext = false;
    int frameClass = 0, envIdx = 1;
    std::vector<int> borders;
    Values iidV, iccV, ipdV, opdV;
    std::vector<bool> iidDt, iccDt, ipdDt, opdDt;
    int extBytes = -1; // -1: as needed
    // What the first envelope's time differences refer to.
    std::vector<int> lastIid = std::vector<int>(34, 0), lastIcc = lastIid, lastIpd = lastIid,
                     lastOpd = lastIid;
};

BitBuilder write(const Frame& f);

} // namespace zemtest
