#include "frame_writer.hpp"

namespace zemenc {

int FrameWriter::reservoir_bytes() const {
    const int held = int(free_.size());
    return held < capacity_ ? held : capacity_;
}

uint16_t frame_crc(const uint8_t* frame, int sideInfoBytes) {
    uint32_t crc = 0xFFFF;
    auto feed = [&](uint8_t byte) {
        for (int b = 7; b >= 0; --b) {
            const uint32_t bit = (byte >> b) & 1u;
            const uint32_t top = (crc >> 15) & 1u;
            crc = (crc << 1) & 0xFFFF;
            if (top ^ bit)
                crc ^= 0x8005;
        }
    };
    feed(frame[2]);
    feed(frame[3]);
    for (int i = 0; i < sideInfoBytes; ++i)
        feed(frame[6 + i]);
    return uint16_t(crc);
}

void FrameWriter::write(const ZemMp3HeaderRec& header, const ZemMp3GranuleRec* sideInfo,
                        const std::vector<uint8_t>& mainData, int payloadBytes) {
    const int begin = reservoir_bytes();
    while (int(free_.size()) > begin)
        free_.pop_front(); // too far back for main_data_begin: stays stuffing
    const std::size_t start = out_.size();
    const int nch = header.mode == 3 ? 1 : 2;
    const int sideBytes = nch == 1 ? 17 : 32;
    const int crcBytes = header.protection_bit == 0 ? 2 : 0;
    out_.resize(start + std::size_t(4 + crcBytes + sideBytes + payloadBytes + 8), 0);
    uint8_t* p = out_.data() + start;
    zemsPackFrameHeader_MP3(&header, &p);
    const int32_t scfsi[8] = {};
    zemsPackSideInfo_MP3(sideInfo, &p, begin, 0, scfsi, &header);
    out_.resize(start + std::size_t(4 + crcBytes + sideBytes + payloadBytes));
    if (crcBytes != 0) {
        const uint16_t crc = frame_crc(out_.data() + start, sideBytes);
        out_[start + 4] = uint8_t(crc >> 8);
        out_[start + 5] = uint8_t(crc);
    }
    for (int i = 0; i < payloadBytes; ++i)
        free_.push_back(start + std::size_t(4 + crcBytes + sideBytes + i));
    for (uint8_t byte : mainData) {
        out_[free_.front()] = byte;
        free_.pop_front();
    }
}

} // namespace zemenc
