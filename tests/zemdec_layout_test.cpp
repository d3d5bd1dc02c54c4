// The sample decoder's speaker mapping of program config elements, for layouts that FFmpeg's
// encoder does not write (its own ones are decoded against FFmpeg in the conformance test).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "aac_layout.hpp"

namespace {

struct PceCase {
    const char* name;
    std::string front, side, back; // one letter per element: S (SCE) or C (CPE)
    int lfe;
    uint32_t mask;
    std::vector<int> out; // output channel of each element channel in element order; empty:
                          // mask 0 and element order
};

// Tags differ per class so that a slot taking its tag from the wrong list is caught.
ZemAacPceRec make_pce(const PceCase& c) {
    ZemAacPceRec pce{};
    auto fill = [](const std::string& kinds, int32_t& count, int32_t* isCpe, int32_t* tag,
                   int firstTag) {
        count = int32_t(kinds.size());
        for (std::size_t i = 0; i < kinds.size(); ++i) {
            isCpe[i] = kinds[i] == 'C';
            tag[i] = firstTag + int32_t(i);
        }
    };
    fill(c.front, pce.num_front_channel_elements, pce.front_element_is_cpe,
         pce.front_element_tag_select, 0);
    fill(c.side, pce.num_side_channel_elements, pce.side_element_is_cpe,
         pce.side_element_tag_select, 4);
    fill(c.back, pce.num_back_channel_elements, pce.back_element_is_cpe,
         pce.back_element_tag_select, 8);
    pce.num_lfe_channel_elements = c.lfe;
    for (int i = 0; i < c.lfe; ++i)
        pce.lfe_element_tag_select[i] = 12 + i;
    return pce;
}

TEST(ZemdecLayout, ProgramConfigElementSpeakers) {
    // WAV order: FL FR FC LFE BL BR FLC FRC BC SL SR.
    const PceCase cases[] = {
        {"stereo", "C", "", "", 0, 0x3, {0, 1}},
        {"5.1", "SC", "", "C", 1, 0x3F, {2, 0, 1, 4, 5, 3}},
        {"side pair and back centre", "SC", "C", "CS", 1, 0x73F, {2, 0, 1, 7, 8, 4, 5, 6, 3}},
        {"five front: Lc/Rc inside L/R", "SCC", "", "", 0, 0xC7, {2, 3, 4, 0, 1}},
        {"four front and back centre", "CC", "", "S", 0, 0x1C3, {2, 3, 0, 1, 4}},
        {"centre listed after the pair", "CS", "", "S", 0, 0x107, {0, 1, 2, 3}},
        {"LFE sent as a side SCE", "CS", "S", "C", 0, 0, {}},
        {"two front singles", "SCS", "", "", 0, 0, {}},
        {"single side element", "SC", "S", "C", 1, 0, {}},
        {"two LFEs", "SC", "", "C", 2, 0, {}},
        {"three front pairs", "SCCC", "", "", 0, 0, {}},
        {"two side pairs", "SC", "CC", "", 0, 0, {}},
        {"two back pairs", "SC", "C", "CC", 1, 0, {}},
        {"back centre before the back pair", "SC", "", "SC", 0, 0, {}},
    };
    for (const PceCase& c : cases) {
        SCOPED_TRACE(c.name);
        const zemdec::AacLayout layout = zemdec::layout_from_pce(make_pce(c));
        std::vector<int> out, tags;
        std::vector<zemdec::AacElement> types;
        for (const zemdec::AacSlot& s : layout.slots) {
            out.push_back(s.out[0]);
            if (s.type == zemdec::AacElement::Cpe)
                out.push_back(s.out[1]);
            types.push_back(s.type);
            tags.push_back(s.tag);
        }
        std::vector<int> expected = c.out;
        if (expected.empty())
            for (std::size_t i = 0; i < out.size(); ++i)
                expected.push_back(int(i));
        EXPECT_EQ(layout.channelMask, c.mask);
        EXPECT_EQ(layout.channels, int(expected.size()));
        EXPECT_EQ(out, expected);

        std::vector<zemdec::AacElement> expectedTypes;
        std::vector<int> expectedTags;
        for (const auto& [kinds, firstTag] :
             {std::pair{c.front, 0}, std::pair{c.side, 4}, std::pair{c.back, 8}})
            for (std::size_t i = 0; i < kinds.size(); ++i) {
                expectedTypes.push_back(kinds[i] == 'C' ? zemdec::AacElement::Cpe
                                                        : zemdec::AacElement::Sce);
                expectedTags.push_back(firstTag + int(i));
            }
        for (int i = 0; i < c.lfe; ++i) {
            expectedTypes.push_back(zemdec::AacElement::Lfe);
            expectedTags.push_back(12 + i);
        }
        EXPECT_EQ(types, expectedTypes);
        EXPECT_EQ(tags, expectedTags);
    }
}

} // namespace
