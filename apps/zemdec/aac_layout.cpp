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
    using E = AacElement;
    std::vector<Wanted> wanted;
    // Front elements run from the centre outwards: with two pairs the inner one is Lc/Rc.
    int frontPairs = 0;
    for (int i = 0; i < pce.num_front_channel_elements; ++i)
        frontPairs += pce.front_element_is_cpe[i] != 0;
    int pairIndex = 0;
    bool centre = false;
    for (int i = 0; i < pce.num_front_channel_elements; ++i) {
        const int tag = pce.front_element_tag_select[i];
        if (pce.front_element_is_cpe[i]) {
            const bool inner = frontPairs >= 2 && pairIndex++ == 0;
            wanted.push_back(
                {E::Cpe,
                 tag,
                 {inner ? uint32_t(FLC) : uint32_t(FL), inner ? uint32_t(FRC) : uint32_t(FR)}});
        } else {
            wanted.push_back({E::Sce, tag, {centre ? 0u : uint32_t(FC), 0}});
            centre = true;
        }
    }
    for (int i = 0; i < pce.num_side_channel_elements; ++i)
        wanted.push_back({pce.side_element_is_cpe[i] ? E::Cpe : E::Sce,
                          pce.side_element_tag_select[i],
                          {pce.side_element_is_cpe[i] ? uint32_t(SL) : 0u, uint32_t(SR)}});
    bool backCentre = false;
    for (int i = 0; i < pce.num_back_channel_elements; ++i) {
        if (pce.back_element_is_cpe[i]) {
            wanted.push_back({E::Cpe, pce.back_element_tag_select[i], {BL, BR}});
        } else {
            wanted.push_back(
                {E::Sce, pce.back_element_tag_select[i], {backCentre ? 0u : uint32_t(BC), 0}});
            backCentre = true;
        }
    }
    for (int i = 0; i < pce.num_lfe_channel_elements; ++i)
        wanted.push_back({E::Lfe, pce.lfe_element_tag_select[i], {i == 0 ? uint32_t(LFE) : 0u, 0}});
    return assign(wanted);
}

} // namespace zemdec
