/* The layout of every public struct on 32-bit x86, in literal numbers from the i686 Linux
   build. Both that build and the Windows cross build compile this file (and nothing else uses
   it), so a struct that the two systems would lay out differently stops the library build. */
#include <stddef.h>

#include "zemac.h"

#define ZEM_SIZE(type, size, align)                                                                \
    _Static_assert(sizeof(type) == (size) && _Alignof(type) == (align), #type " layout")
#define ZEM_FIELD(type, field, offset)                                                             \
    _Static_assert(offsetof(type, field) == (offset), #type "." #field " offset")

/* zemac/aac_elements.h */
ZEM_SIZE(ZemAacIcsRec, 112, 4);
ZEM_FIELD(ZemAacIcsRec, ics_reserved_bit, 0);
ZEM_FIELD(ZemAacIcsRec, window_sequence, 4);
ZEM_FIELD(ZemAacIcsRec, window_shape, 8);
ZEM_FIELD(ZemAacIcsRec, max_sfb, 12);
ZEM_FIELD(ZemAacIcsRec, scale_factor_grouping, 16);
ZEM_FIELD(ZemAacIcsRec, predictor_data_present, 20);
ZEM_FIELD(ZemAacIcsRec, predictor_reset, 24);
ZEM_FIELD(ZemAacIcsRec, predictor_reset_group_number, 28);
ZEM_FIELD(ZemAacIcsRec, prediction_used, 32);
ZEM_FIELD(ZemAacIcsRec, num_window_groups, 76);
ZEM_FIELD(ZemAacIcsRec, window_group_length, 80);

ZEM_SIZE(ZemAacCpeRec, 488, 4);
ZEM_FIELD(ZemAacCpeRec, common_window, 0);
ZEM_FIELD(ZemAacCpeRec, ms_mask_present, 4);
ZEM_FIELD(ZemAacCpeRec, ms_used, 8);

ZEM_SIZE(ZemAacTnsRec, 256, 4);
ZEM_FIELD(ZemAacTnsRec, tns_data_present, 0);
ZEM_FIELD(ZemAacTnsRec, n_filt, 4);
ZEM_FIELD(ZemAacTnsRec, coef_res, 36);
ZEM_FIELD(ZemAacTnsRec, length, 68);
ZEM_FIELD(ZemAacTnsRec, order, 100);
ZEM_FIELD(ZemAacTnsRec, direction, 132);
ZEM_FIELD(ZemAacTnsRec, reserved, 164);
ZEM_FIELD(ZemAacTnsRec, coef, 196);

ZEM_SIZE(ZemAacLtpRec, 352, 4);
ZEM_FIELD(ZemAacLtpRec, ltp_data_present, 0);
ZEM_FIELD(ZemAacLtpRec, ltp_lag, 4);
ZEM_FIELD(ZemAacLtpRec, ltp_coef, 8);
ZEM_FIELD(ZemAacLtpRec, reserved0, 10);
ZEM_FIELD(ZemAacLtpRec, ltp_long_used, 12);
ZEM_FIELD(ZemAacLtpRec, reserved1, 176);
ZEM_FIELD(ZemAacLtpRec, ltp_short_used, 256);
ZEM_FIELD(ZemAacLtpRec, ltp_short_lag_present, 288);
ZEM_FIELD(ZemAacLtpRec, ltp_window_lag, 320);

ZEM_SIZE(ZemAacLayerMainRec, 1276, 4);
ZEM_FIELD(ZemAacLayerMainRec, window_sequence, 0);
ZEM_FIELD(ZemAacLayerMainRec, window_shape, 4);
ZEM_FIELD(ZemAacLayerMainRec, max_sfb, 8);
ZEM_FIELD(ZemAacLayerMainRec, scale_factor_grouping, 12);
ZEM_FIELD(ZemAacLayerMainRec, num_window_groups, 16);
ZEM_FIELD(ZemAacLayerMainRec, window_group_length, 20);
ZEM_FIELD(ZemAacLayerMainRec, ms_mask_present, 52);
ZEM_FIELD(ZemAacLayerMainRec, pMsUsed, 56);
ZEM_FIELD(ZemAacLayerMainRec, tns, 60);
ZEM_FIELD(ZemAacLayerMainRec, ltp, 572);

ZEM_SIZE(ZemAacLayerExtRec, 932, 4);
ZEM_FIELD(ZemAacLayerExtRec, ms_mask_present, 0);
ZEM_FIELD(ZemAacLayerExtRec, max_sfb, 4);
ZEM_FIELD(ZemAacLayerExtRec, pMsUsed, 8);
ZEM_FIELD(ZemAacLayerExtRec, tns, 12);
ZEM_FIELD(ZemAacLayerExtRec, band_switch, 524);

ZEM_SIZE(ZemAacChanRec, 488, 4);
ZEM_FIELD(ZemAacChanRec, reserved0, 0);
ZEM_FIELD(ZemAacChanRec, sampling_frequency_index, 8);
ZEM_FIELD(ZemAacChanRec, predSfbLimit, 12);
ZEM_FIELD(ZemAacChanRec, reserved1, 16);
ZEM_FIELD(ZemAacChanRec, frame_length, 20);
ZEM_FIELD(ZemAacChanRec, num_windows, 24);
ZEM_FIELD(ZemAacChanRec, num_swb, 28);
ZEM_FIELD(ZemAacChanRec, global_gain, 32);
ZEM_FIELD(ZemAacChanRec, pulse_data_present, 36);
ZEM_FIELD(ZemAacChanRec, tns_data_present, 40);
ZEM_FIELD(ZemAacChanRec, gain_control_data_present, 44);
ZEM_FIELD(ZemAacChanRec, pIcsOfChan, 48);
ZEM_FIELD(ZemAacChanRec, reserved2, 52);
ZEM_FIELD(ZemAacChanRec, sect_cb, 56);
ZEM_FIELD(ZemAacChanRec, sect_end, 176);
ZEM_FIELD(ZemAacChanRec, num_sec, 296);
ZEM_FIELD(ZemAacChanRec, n_filt, 328);
ZEM_FIELD(ZemAacChanRec, coef_res, 360);
ZEM_FIELD(ZemAacChanRec, length, 392);
ZEM_FIELD(ZemAacChanRec, order, 424);
ZEM_FIELD(ZemAacChanRec, direction, 456);

/* zemac/aac_stream.h */
ZEM_SIZE(ZemAacAdtsRec, 64, 4);
ZEM_FIELD(ZemAacAdtsRec, id, 0);
ZEM_FIELD(ZemAacAdtsRec, layer, 4);
ZEM_FIELD(ZemAacAdtsRec, protection_absent, 8);
ZEM_FIELD(ZemAacAdtsRec, profile, 12);
ZEM_FIELD(ZemAacAdtsRec, sampling_frequency_index, 16);
ZEM_FIELD(ZemAacAdtsRec, private_bit, 20);
ZEM_FIELD(ZemAacAdtsRec, channel_configuration, 24);
ZEM_FIELD(ZemAacAdtsRec, original_copy, 28);
ZEM_FIELD(ZemAacAdtsRec, home, 32);
ZEM_FIELD(ZemAacAdtsRec, reserved, 36);
ZEM_FIELD(ZemAacAdtsRec, copyright_identification_bit, 40);
ZEM_FIELD(ZemAacAdtsRec, copyright_identification_start, 44);
ZEM_FIELD(ZemAacAdtsRec, aac_frame_length, 48);
ZEM_FIELD(ZemAacAdtsRec, adts_buffer_fullness, 52);
ZEM_FIELD(ZemAacAdtsRec, raw_data_block_count, 56);
ZEM_FIELD(ZemAacAdtsRec, crc_check, 60);

ZEM_SIZE(ZemAacAdifRec, 104, 4);
ZEM_FIELD(ZemAacAdifRec, adif_id, 0);
ZEM_FIELD(ZemAacAdifRec, copyright_id_present, 4);
ZEM_FIELD(ZemAacAdifRec, original_copy, 8);
ZEM_FIELD(ZemAacAdifRec, home, 12);
ZEM_FIELD(ZemAacAdifRec, bitstream_type, 16);
ZEM_FIELD(ZemAacAdifRec, bitrate, 20);
ZEM_FIELD(ZemAacAdifRec, pce_count, 24);
ZEM_FIELD(ZemAacAdifRec, adif_buffer_fullness, 28);
ZEM_FIELD(ZemAacAdifRec, copyright_id, 92);

ZEM_SIZE(ZemAacPceRec, 884, 4);
ZEM_FIELD(ZemAacPceRec, element_instance_tag, 0);
ZEM_FIELD(ZemAacPceRec, object_type, 4);
ZEM_FIELD(ZemAacPceRec, sampling_frequency_index, 8);
ZEM_FIELD(ZemAacPceRec, num_front_channel_elements, 12);
ZEM_FIELD(ZemAacPceRec, num_side_channel_elements, 16);
ZEM_FIELD(ZemAacPceRec, num_back_channel_elements, 20);
ZEM_FIELD(ZemAacPceRec, num_lfe_channel_elements, 24);
ZEM_FIELD(ZemAacPceRec, num_assoc_data_elements, 28);
ZEM_FIELD(ZemAacPceRec, num_valid_cc_elements, 32);
ZEM_FIELD(ZemAacPceRec, mono_mixdown_present, 36);
ZEM_FIELD(ZemAacPceRec, mono_mixdown_element_number, 40);
ZEM_FIELD(ZemAacPceRec, stereo_mixdown_present, 44);
ZEM_FIELD(ZemAacPceRec, stereo_mixdown_element_number, 48);
ZEM_FIELD(ZemAacPceRec, matrix_mixdown_idx_present, 52);
ZEM_FIELD(ZemAacPceRec, matrix_mixdown_idx, 56);
ZEM_FIELD(ZemAacPceRec, pseudo_surround_enable, 60);
ZEM_FIELD(ZemAacPceRec, front_element_is_cpe, 64);
ZEM_FIELD(ZemAacPceRec, front_element_tag_select, 128);
ZEM_FIELD(ZemAacPceRec, side_element_is_cpe, 192);
ZEM_FIELD(ZemAacPceRec, side_element_tag_select, 256);
ZEM_FIELD(ZemAacPceRec, back_element_is_cpe, 320);
ZEM_FIELD(ZemAacPceRec, back_element_tag_select, 384);
ZEM_FIELD(ZemAacPceRec, lfe_element_tag_select, 448);
ZEM_FIELD(ZemAacPceRec, assoc_data_element_tag_select, 464);
ZEM_FIELD(ZemAacPceRec, cc_element_is_ind_sw, 496);
ZEM_FIELD(ZemAacPceRec, valid_cc_element_tag_select, 560);
ZEM_FIELD(ZemAacPceRec, comment_field_bytes, 624);
ZEM_FIELD(ZemAacPceRec, comment_field_data, 628);

/* zemac/core.h */
ZEM_SIZE(Zem32fc, 8, 4);
ZEM_FIELD(Zem32fc, re, 0);
ZEM_FIELD(Zem32fc, im, 4);

ZEM_SIZE(Zem32sc, 8, 4);
ZEM_FIELD(Zem32sc, re, 0);
ZEM_FIELD(Zem32sc, im, 4);

ZEM_SIZE(ZemLibVersion, 32, 4);
ZEM_FIELD(ZemLibVersion, versionMajor, 0);
ZEM_FIELD(ZemLibVersion, versionMinor, 4);
ZEM_FIELD(ZemLibVersion, buildMajor, 8);
ZEM_FIELD(ZemLibVersion, buildNumber, 12);
ZEM_FIELD(ZemLibVersion, cpuCode, 16);
ZEM_FIELD(ZemLibVersion, libName, 20);
ZEM_FIELD(ZemLibVersion, versionText, 24);
ZEM_FIELD(ZemLibVersion, buildDate, 28);

/* zemac/mp3.h */
ZEM_SIZE(ZemMp3HeaderRec, 52, 4);
ZEM_FIELD(ZemMp3HeaderRec, id, 0);
ZEM_FIELD(ZemMp3HeaderRec, layer, 4);
ZEM_FIELD(ZemMp3HeaderRec, protection_bit, 8);
ZEM_FIELD(ZemMp3HeaderRec, bitrate_index, 12);
ZEM_FIELD(ZemMp3HeaderRec, sampling_frequency, 16);
ZEM_FIELD(ZemMp3HeaderRec, padding_bit, 20);
ZEM_FIELD(ZemMp3HeaderRec, private_bit, 24);
ZEM_FIELD(ZemMp3HeaderRec, mode, 28);
ZEM_FIELD(ZemMp3HeaderRec, mode_extension, 32);
ZEM_FIELD(ZemMp3HeaderRec, copyright, 36);
ZEM_FIELD(ZemMp3HeaderRec, original_copy, 40);
ZEM_FIELD(ZemMp3HeaderRec, emphasis, 44);
ZEM_FIELD(ZemMp3HeaderRec, crc_check, 48);

ZEM_SIZE(ZemMp3GranuleRec, 72, 4);
ZEM_FIELD(ZemMp3GranuleRec, part2_3_length, 0);
ZEM_FIELD(ZemMp3GranuleRec, big_values, 4);
ZEM_FIELD(ZemMp3GranuleRec, global_gain, 8);
ZEM_FIELD(ZemMp3GranuleRec, scalefac_compress, 12);
ZEM_FIELD(ZemMp3GranuleRec, window_switching_flag, 16);
ZEM_FIELD(ZemMp3GranuleRec, block_type, 20);
ZEM_FIELD(ZemMp3GranuleRec, mixed_block_flag, 24);
ZEM_FIELD(ZemMp3GranuleRec, table_select, 28);
ZEM_FIELD(ZemMp3GranuleRec, subblock_gain, 40);
ZEM_FIELD(ZemMp3GranuleRec, region0_count, 52);
ZEM_FIELD(ZemMp3GranuleRec, region1_count, 56);
ZEM_FIELD(ZemMp3GranuleRec, preflag, 60);
ZEM_FIELD(ZemMp3GranuleRec, scalefac_scale, 64);
ZEM_FIELD(ZemMp3GranuleRec, count1table_select, 68);

/* zemac/mp3_encoder.h */
ZEM_SIZE(ZemMp3ReservoirRec, 8, 4);
ZEM_FIELD(ZemMp3ReservoirRec, bitsInReservoir, 0);
ZEM_FIELD(ZemMp3ReservoirRec, maxReservoirBits, 4);

ZEM_SIZE(ZemMp3PsyStateRec, 57344, 8);
ZEM_FIELD(ZemMp3PsyStateRec, opaque, 0);

ZEM_SIZE(ZemMp3PsyResultRec, 740, 4);
ZEM_FIELD(ZemMp3PsyResultRec, energyLong, 0);
ZEM_FIELD(ZemMp3PsyResultRec, allowedLong, 88);
ZEM_FIELD(ZemMp3PsyResultRec, ratioLong, 176);
ZEM_FIELD(ZemMp3PsyResultRec, energyShort, 264);
ZEM_FIELD(ZemMp3PsyResultRec, allowedShort, 420);
ZEM_FIELD(ZemMp3PsyResultRec, ratioShort, 576);
ZEM_FIELD(ZemMp3PsyResultRec, pe, 732);
ZEM_FIELD(ZemMp3PsyResultRec, attack, 736);

/* zemac/vlc.h */
ZEM_SIZE(ZemVlcEncSpec, 20, 4);
ZEM_FIELD(ZemVlcEncSpec, pTable, 0);
ZEM_FIELD(ZemVlcEncSpec, base, 4);
ZEM_FIELD(ZemVlcEncSpec, indexBits, 8);
ZEM_FIELD(ZemVlcEncSpec, reserved, 12);
ZEM_FIELD(ZemVlcEncSpec, tag, 16);

ZEM_SIZE(ZemVlcDecSpec, 36, 4);
ZEM_FIELD(ZemVlcDecSpec, tag, 0);
ZEM_FIELD(ZemVlcDecSpec, reserved0, 4);
ZEM_FIELD(ZemVlcDecSpec, windowBits, 8);
ZEM_FIELD(ZemVlcDecSpec, pTable, 12);
ZEM_FIELD(ZemVlcDecSpec, elementBits, 16);
ZEM_FIELD(ZemVlcDecSpec, lengthBits, 20);
ZEM_FIELD(ZemVlcDecSpec, reserved1, 24);
ZEM_FIELD(ZemVlcDecSpec, valueBits, 28);
ZEM_FIELD(ZemVlcDecSpec, valuesBits, 32);
