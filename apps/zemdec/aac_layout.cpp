#include "aac_layout.hpp"

#include <algorithm>

namespace zemdec {

namespace {

// WAVE_FORMAT_EXTENSIBLE speaker bits.
enum Speaker : uint32_t {
    FL = 0x1,
    FR = 0x2,
    FC = 0x4,
    LFE = 0x8,
    BL = 0x10,
    BR = 0x20,
    FLC = 0x40,
    FRC = 0x80,
    BC = 0x100,
    SL = 0x200,
    SR = 0x400,
};

struct Wanted {
    AacElement type;
    int tag;
    uint32_t speakers[2];
};

// Output channels in WAV order: ascending speaker bits, unknown speakers (0) last.
AacLayout assign(const std::vector<Wanted>& wanted) {
    std::vector<uint32_t> all;
    for (const Wanted& w : wanted)
        for (int k = 0; k < (w.type == AacElement::Cpe ? 2 : 1); ++k)
            all.push_back(w.speakers[k]);
    std::vector<int> order(all.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = int(i);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
        const uint32_t sa = all[std::size_t(a)] ? all[std::size_t(a)] : 0xFFFFFFFFu;
        const uint32_t sb = all[std::size_t(b)] ? all[std::size_t(b)] : 0xFFFFFFFFu;
        return sa < sb;
    });
    std::vector<int> position(all.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        position[std::size_t(order[i])] = int(i);

    AacLayout layout;
    bool known = true;
    std::size_t next = 0;
    for (const Wanted& w : wanted) {
        AacSlot slot{w.type, w.tag, {0, 0}};
        for (int k = 0; k < (w.type == AacElement::Cpe ? 2 : 1); ++k, ++next) {
            slot.out[k] = position[next];
            known = known && all[next] != 0 && (layout.channelMask & all[next]) == 0;
            layout.channelMask |= all[next];
        }
        layout.slots.push_back(slot);
    }
    layout.channels = int(all.size());
    if (!known)
        layout.channelMask = 0;
    return layout;
}

} // namespace

bool layout_from_configuration(int configuration, AacLayout& layout) {
    using E = AacElement;
    const Wanted C{E::Sce, -1, {FC, 0}}, LR{E::Cpe, -1, {FL, FR}}, LsRs{E::Cpe, -1, {BL, BR}},
        Lfe{E::Lfe, -1, {LFE, 0}}, Cs{E::Sce, -1, {BC, 0}}, LcRc{E::Cpe, -1, {FLC, FRC}};
    switch (configuration) {
    case 1:
        layout = assign({C});
        break;
    case 2:
        layout = assign({LR});
        break;
    case 3:
        layout = assign({C, LR});
        break;
    case 4:
        layout = assign({C, LR, Cs});
        break;
    case 5:
        layout = assign({C, LR, LsRs});
        break;
    case 6:
        layout = assign({C, LR, LsRs, Lfe});
        break;
    case 7:
        layout = assign({C, LcRc, LR, LsRs, Lfe});
        break;
    default:
        return false;
    }
    return true;
}

AacLayout layout_from_pce(const ZemAacPceRec& pce) {
    std::vector<Wanted> wanted;
    bool mapped = true;
    auto add = [&](AacElement type, int tag, uint32_t first, uint32_t second) {
        wanted.push_back({type, tag, {first, second}});
    };
    auto type_of = [](int32_t isCpe) { return isCpe ? AacElement::Cpe : AacElement::Sce; };
    // ISO/IEC 13818-7 lists front elements from the centre outwards: with an odd front channel
    // count the one single element is the centre (encoders that list it after L/R are read the
    // same way), and the pairs are L/R, or Lc/Rc and then L/R.
    const int front = pce.num_front_channel_elements;
    int singles = 0;
    for (int i = 0; i < front; ++i)
        singles += pce.front_element_is_cpe[i] ? 0 : 1;
    const int frontPairs = front - singles;
    mapped = singles <= 1 && frontPairs <= 2;
    for (int i = 0, pair = 0; i < front; ++i) {
        const bool cpe = pce.front_element_is_cpe[i] != 0;
        const bool inner = cpe && frontPairs == 2 && pair++ == 0;
        add(type_of(cpe), pce.front_element_tag_select[i], cpe ? (inner ? FLC : FL) : FC,
            inner ? FRC : FR);
    }
    // Side elements run from front to back: one pair, Ls/Rs. A single side channel has no
    // side of its own.
    const int side = pce.num_side_channel_elements;
    for (int i = 0; i < side; ++i) {
        mapped = mapped && pce.side_element_is_cpe[i] && side == 1;
        add(type_of(pce.side_element_is_cpe[i]), pce.side_element_tag_select[i], SL, SR);
    }
    // Back elements run from the sides to the back centre: one pair, then one centre.
    const int back = pce.num_back_channel_elements;
    for (int i = 0; i < back; ++i) {
        const bool cpe = pce.back_element_is_cpe[i] != 0;
        mapped = mapped && (cpe ? i == 0 : i == back - 1);
        add(type_of(cpe), pce.back_element_tag_select[i], cpe ? BL : BC, BR);
    }
    mapped = mapped && pce.num_lfe_channel_elements <= 1;
    for (int i = 0; i < pce.num_lfe_channel_elements; ++i)
        add(AacElement::Lfe, pce.lfe_element_tag_select[i], LFE, 0);
    if (!mapped) // element order, no mask
        for (Wanted& w : wanted)
            w.speakers[0] = w.speakers[1] = 0;
    return assign(wanted);
}

} // namespace zemdec
