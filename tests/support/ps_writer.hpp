// A test-side writer of ps_data(): header, frame class and borders, IID/ICC in either
// difference direction, and the IPD/OPD extension.
#pragma once

#include <cstdint>
#include <vector>

#include "huffman_tree.hpp"

namespace zemtest {

using Values = std::vector<std::vector<int>>; // [envelope][band]

struct Bits {
    std::vector<int> v;
    void put(uint32_t x, int n) {
        for (int i = n - 1; i >= 0; --i)
            v.push_back(int(x >> i) & 1);
    }
    void append(const Bits& o) { v.insert(v.end(), o.v.begin(), o.v.end()); }
    std::vector<uint8_t> bytes() const {
        std::vector<uint8_t> out(v.size() / 8 + 4, 0);
        for (std::size_t i = 0; i < v.size(); ++i)
            out[i / 8] |= uint8_t(v[i] << (7 - i % 8));
        return out;
    }
};

// One parameter: per envelope a dt flag and the values; deltas are coded against the previous
// band (df) or the previous envelope (dt, `last` for the first).
void put_parameter(Bits& w, const zemdec::HuffmanCode* df, const zemdec::HuffmanCode* dt,
                   int offset, bool wrap, const Values& v, const std::vector<bool>& useDt,
                   std::vector<int> last);

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

Bits write(const Frame& f);

} // namespace zemtest
