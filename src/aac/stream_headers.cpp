// ADTS and ADIF headers and the program config element (ISO/IEC 13818-7 6.2, 14496-3 1.A.2).
// The parsers copy fields; apart from the caller's limits they validate nothing.
#include "aac/pce.hpp"
#include "core/bitstream.hpp"
#include "core/checks.hpp"

namespace zem::aac {

namespace {

int32_t get(uint8_t*& stream, int32_t& bitPos, int n) {
    return int32_t(read_bits(stream, bitPos, n));
}

// `count` entries of (is_cpe, tag_select) pairs.
void read_element_list(uint8_t*& s, int32_t& pos, int count, int32_t* isCpe, int32_t* tag) {
    for (int i = 0; i < count; ++i) {
        isCpe[i] = get(s, pos, 1);
        tag[i] = get(s, pos, 4);
    }
}

void read_tag_list(uint8_t*& s, int32_t& pos, int count, int32_t* tag) {
    for (int i = 0; i < count; ++i)
        tag[i] = get(s, pos, 4);
}

} // namespace

void read_program_config(uint8_t*& s, int32_t& pos, ZemAacPceRec& pce) {
    pce.element_instance_tag = get(s, pos, 4);
    pce.object_type = get(s, pos, 2);
    pce.sampling_frequency_index = get(s, pos, 4);
    pce.num_front_channel_elements = get(s, pos, 4);
    pce.num_side_channel_elements = get(s, pos, 4);
    pce.num_back_channel_elements = get(s, pos, 4);
    pce.num_lfe_channel_elements = get(s, pos, 2);
    pce.num_assoc_data_elements = get(s, pos, 3);
    pce.num_valid_cc_elements = get(s, pos, 4);

    pce.mono_mixdown_element_number = 0;
    pce.stereo_mixdown_element_number = 0;
    pce.matrix_mixdown_idx = 0;
    pce.pseudo_surround_enable = 0;
    pce.mono_mixdown_present = get(s, pos, 1);
    if (pce.mono_mixdown_present)
        pce.mono_mixdown_element_number = get(s, pos, 4);
    pce.stereo_mixdown_present = get(s, pos, 1);
    if (pce.stereo_mixdown_present)
        pce.stereo_mixdown_element_number = get(s, pos, 4);
    pce.matrix_mixdown_idx_present = get(s, pos, 1);
    if (pce.matrix_mixdown_idx_present) {
        pce.matrix_mixdown_idx = get(s, pos, 2);
        pce.pseudo_surround_enable = get(s, pos, 1);
    }

    read_element_list(s, pos, pce.num_front_channel_elements, pce.front_element_is_cpe,
                      pce.front_element_tag_select);
    read_element_list(s, pos, pce.num_side_channel_elements, pce.side_element_is_cpe,
                      pce.side_element_tag_select);
    read_element_list(s, pos, pce.num_back_channel_elements, pce.back_element_is_cpe,
                      pce.back_element_tag_select);
    read_tag_list(s, pos, pce.num_lfe_channel_elements, pce.lfe_element_tag_select);
    read_tag_list(s, pos, pce.num_assoc_data_elements, pce.assoc_data_element_tag_select);
    read_element_list(s, pos, pce.num_valid_cc_elements, pce.cc_element_is_ind_sw,
                      pce.valid_cc_element_tag_select);

    align_to_byte(s, pos);
    pce.comment_field_bytes = get(s, pos, 8);
    for (int i = 0; i < pce.comment_field_bytes; ++i)
        pce.comment_field_data[i] = uint8_t(get(s, pos, 8));
}

} // namespace zem::aac

using namespace zem;

ZEM_API ZemStatus zemsUnpackADTSFrameHeader_AAC(uint8_t** ppStream, ZemAacAdtsRec* pAdts) {
    if (any_null(ppStream, pAdts) || *ppStream == nullptr)
        return zemStatusNullPointer;
    uint8_t* s = *ppStream;
    int32_t pos = 0;
    ZemAacAdtsRec& h = *pAdts;
    read_bits(s, pos, 12); // syncword, read past
    h.id = aac::get(s, pos, 1);
    h.layer = aac::get(s, pos, 2);
    h.protection_absent = aac::get(s, pos, 1);
    h.profile = aac::get(s, pos, 2);
    h.sampling_frequency_index = aac::get(s, pos, 4);
    h.private_bit = aac::get(s, pos, 1);
    h.channel_configuration = aac::get(s, pos, 3);
    h.original_copy = aac::get(s, pos, 1);
    h.home = aac::get(s, pos, 1);
    h.copyright_identification_bit = aac::get(s, pos, 1);
    h.copyright_identification_start = aac::get(s, pos, 1);
    h.aac_frame_length = aac::get(s, pos, 13);
    h.adts_buffer_fullness = aac::get(s, pos, 11);
    h.raw_data_block_count = aac::get(s, pos, 2) + 1;
    if (h.protection_absent == 0)
        h.crc_check = aac::get(s, pos, 16);
    *ppStream = s;
    return zemStatusOk;
}

ZEM_API ZemStatus zemsUnpackADIFHeader_AAC(uint8_t** ppStream, ZemAacAdifRec* pAdif,
                                           ZemAacPceRec* pPce, int32_t maxPce) {
    if (any_null(ppStream, pAdif, pPce) || *ppStream == nullptr)
        return zemStatusNullPointer;
    if (maxPce < 1 || maxPce > 16)
        return zemStatusAacBadPceCount;
    uint8_t* s = *ppStream;
    int32_t pos = 0;
    ZemAacAdifRec& h = *pAdif;
    const uint32_t idHigh = read_bits(s, pos, 16);
    h.adif_id = int32_t(idHigh << 16 | read_bits(s, pos, 16));
    h.copyright_id_present = aac::get(s, pos, 1);
    if (h.copyright_id_present)
        for (auto& byte : h.copyright_id)
            byte = uint8_t(aac::get(s, pos, 8));
    h.original_copy = aac::get(s, pos, 1);
    h.home = aac::get(s, pos, 1);
    h.bitstream_type = aac::get(s, pos, 1);
    h.bitrate = aac::get(s, pos, 23);
    h.pce_count = aac::get(s, pos, 4) + 1;
    if (h.pce_count > maxPce) {
        *ppStream = s;
        return zemStatusAacBadPceCount;
    }
    for (int i = 0; i < h.pce_count; ++i) {
        if (h.bitstream_type == 0)
            h.adif_buffer_fullness[i] = aac::get(s, pos, 20);
        aac::read_program_config(s, pos, pPce[i]);
    }
    *ppStream = s;
    return zemStatusOk;
}

ZEM_API ZemStatus zemsDecodePrgCfgElt_AAC(uint8_t** ppStream, int32_t* pBitPos,
                                          ZemAacPceRec* pPce) {
    if (pPce == nullptr)
        return zemStatusNullPointer;
    if (const ZemStatus st = check_cursor(ppStream, pBitPos, zemStatusAacBadBitOffset); st != 0)
        return st;
    aac::read_program_config(*ppStream, *pBitPos, *pPce);
    return zemStatusOk;
}
