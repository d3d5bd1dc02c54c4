#include "support/ps_writer.hpp"

#include <algorithm>

#include "ps_huffman_tables.hpp"

namespace zemtest {

namespace {

// One parameter: per envelope a dt flag and the values; deltas are coded against the previous
// band (df) or the previous envelope (dt, `last` for the first).
void put_parameter(BitBuilder& w, const zemdec::HuffmanCode* df, const zemdec::HuffmanCode* dt,
                   int offset, bool wrap, const Values& v, const std::vector<bool>& useDt,
                   std::vector<int> last) {
    for (std::size_t e = 0; e < v.size(); ++e) {
        const bool t = useDt[e];
        w.put(t, 1);
        int prev = 0;
        for (std::size_t b = 0; b < v[e].size(); ++b) {
            int delta = v[e][b] - (t ? last[b] : prev);
            delta = wrap ? delta & 7 : delta + offset;
            w.put((t ? dt : df)[delta].bits, (t ? dt : df)[delta].length);
            prev = v[e][b];
        }
        last = v[e];
    }
}

} // namespace

BitBuilder write(const Frame& f) {
    using namespace zemdec;
    BitBuilder w;
    w.put(f.header, 1);
    if (f.header) {
        w.put(f.iid, 1);
        if (f.iid)
            w.put(uint32_t(f.iidMode), 3);
        w.put(f.icc, 1);
        if (f.icc)
            w.put(uint32_t(f.iccMode), 3);
        w.put(f.ext, 1);
    }
    w.put(uint32_t(f.frameClass), 1);
    w.put(uint32_t(f.envIdx), 2);
    for (int b : f.borders)
        w.put(uint32_t(b), 5);
    const bool fine = f.iidMode > 2;
    if (!f.iidV.empty())
        put_parameter(w, fine ? kIidDfFine : kIidDfDefault, fine ? kIidDtFine : kIidDtDefault,
                      fine ? 30 : 14, false, f.iidV, f.iidDt, f.lastIid);
    if (!f.iccV.empty())
        put_parameter(w, kIccDf, kIccDt, 7, false, f.iccV, f.iccDt, f.lastIcc);
    if (f.ext) {
        BitBuilder x;
        x.put(0, 2); // ps_extension_id 0
        x.put(!f.ipdV.empty(), 1);
        for (std::size_t e = 0; e < f.ipdV.size(); ++e) {
            put_parameter(x, kIpdDf, kIpdDt, 0, true, {f.ipdV[e]}, {f.ipdDt[e]},
                          e ? f.ipdV[e - 1] : f.lastIpd);
            put_parameter(x, kOpdDf, kOpdDt, 0, true, {f.opdV[e]}, {f.opdDt[e]},
                          e ? f.opdV[e - 1] : f.lastOpd);
        }
        x.put(0, 1); // reserved_ps
        const int bytes = f.extBytes >= 0 ? f.extBytes : int(x.bit_count() + 7) / 8;
        w.put(uint32_t(std::min(bytes, 15)), 4);
        if (bytes >= 15)
            w.put(uint32_t(bytes - 15), 8);
        const std::vector<uint8_t> data = x.bytes(); // cut or zero-filled to `bytes`
        for (std::size_t i = 0; i < std::size_t(8 * bytes); ++i)
            w.put(i < x.bit_count() ? bit_at(data.data(), i) : 0u, 1);
    }
    return w;
}

} // namespace zemtest
