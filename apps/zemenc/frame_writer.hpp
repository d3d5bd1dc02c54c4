// Layer III frames with the bit reservoir: each frame's main data starts in the unused payload
// bytes of the frames before it (main_data_begin back) and continues in its own payload.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "zemac.h"

namespace zemenc {

class FrameWriter {
  public:
    // capacityBytes: the reservoir the stream may use (zemsBitReservoirInit_MP3, in bytes).
    explicit FrameWriter(int capacityBytes) : capacity_(capacityBytes) {}

    // The reservoir of the next frames, for a change of bit rate.
    void set_capacity(int capacityBytes) { capacity_ = capacityBytes; }

    // Payload bytes of earlier frames that the next frame's main data may begin in.
    int reservoir_bytes() const;

    // One frame: header (and CRC), side information with main_data_begin = reservoir_bytes(),
    // payloadBytes of payload, and mainData placed from the reservoir on. mainData must fit in
    // reservoir_bytes() + payloadBytes.
    void write(const ZemMp3HeaderRec& header, const ZemMp3GranuleRec* sideInfo,
               const std::vector<uint8_t>& mainData, int payloadBytes);

    std::vector<uint8_t>& bytes() { return out_; }

  private:
    int capacity_;
    std::vector<uint8_t> out_;
    std::deque<std::size_t> free_; // positions in out_ of unused payload bytes, oldest first
};

// CRC-16 of a Layer III frame (generator 0x8005, initial 0xFFFF) over the header's last two
// bytes and the side information.
uint16_t frame_crc(const uint8_t* frame, int sideInfoBytes);

} // namespace zemenc
