// The standard tables of src/tables against copies of the standards' listings (tests/data/tables),
// and every codeword of every code table through the decoding forms built from it.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "aac/huffman_tree.hpp"
#include "mp3/huffman_decoders.hpp"
#include "tables/aac_swb.hpp"
#include "tables/mp3_sfb_bands.hpp"
#include "tables/mp3_window.hpp"

namespace {

using zem::HuffCode;
using Words = std::vector<std::string>;

// The non-comment lines of a listing, split into words.
std::vector<Words> read_listing(const std::string& name) {
    std::ifstream in(std::string(ZEM_TEST_DATA_DIR) + "/tables/" + name);
    EXPECT_TRUE(in) << name;
    std::vector<Words> lines;
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        Words w;
        for (std::string word; words >> word;)
            w.push_back(word);
        if (!w.empty() && w[0][0] != '#')
            lines.push_back(w);
    }
    return lines;
}

// A codeword of a listing with the values it decodes to.
struct Entry {
    std::vector<int> values;
    HuffCode code;
};

// A code table of a Huffman listing: its header words and its entries (`index` leading columns
// dropped). Entry lines end in "length code", the code a string of 0 and 1.
struct CodeBlock {
    Words head;
    std::vector<Entry> entries;
};

std::vector<CodeBlock> read_codes(const std::string& name, int leadingColumns) {
    std::vector<CodeBlock> blocks;
    for (const Words& w : read_listing(name)) {
        if (std::isalpha(static_cast<unsigned char>(w[0][0]))) {
            blocks.push_back({w, {}});
            continue;
        }
        Entry e{{},
                {uint32_t(std::stoul(w.back(), nullptr, 2)), uint8_t(std::stoi(w[w.size() - 2]))}};
        EXPECT_EQ(w.back().size(), e.code.length) << name;
        for (std::size_t i = std::size_t(leadingColumns); i + 2 < w.size(); ++i)
            e.values.push_back(std::stoi(w[i]));
        blocks.back().entries.push_back(e);
    }
    return blocks;
}

// The number after `key` in a header.
int head_value(const Words& head, const std::string& key) {
    for (std::size_t i = 0; i + 1 < head.size(); ++i)
        if (head[i] == key)
            return std::stoi(head[i + 1]);
    return -1;
}

void expect_code(const HuffCode& got, const HuffCode& want, const std::string& where) {
    EXPECT_EQ(got.code, want.code) << where;
    EXPECT_EQ(int(got.length), int(want.length)) << where;
}

void compare_mp3_huffman() {
    using namespace zem::mp3;
    bool listed[32] = {};
    for (const CodeBlock& b : read_codes("mp3_huffman.txt", 0)) {
        const std::string name = b.head[0] + " " + b.head[1];
        if (b.head[0] == "QUAD") { // v w x y; table B is 15 minus the index in four bits
            ASSERT_EQ(b.entries.size(), 16u) << name;
            for (const Entry& e : b.entries) {
                const int index = 8 * e.values[0] + 4 * e.values[1] + 2 * e.values[2] + e.values[3];
                const HuffCode want =
                    b.head[1] == "A" ? kQuadCodesA[index] : HuffCode{uint32_t(15 - index), 4};
                expect_code(want, e.code, name + " index " + std::to_string(index));
            }
            continue;
        }
        const int n = std::stoi(b.head[1]), size = head_value(b.head, "SIZE");
        // Table:linbits of the tables that use these codes.
        std::vector<std::pair<int, int>> users = {{n, head_value(b.head, "LINBITS")}};
        for (const std::string& word : b.head) {
            const std::size_t colon = word.find(':');
            if (word == "USED_BY")
                users.clear();
            else if (colon != std::string::npos)
                users.push_back(
                    {std::stoi(word.substr(0, colon)), std::stoi(word.substr(colon + 1))});
        }
        ASSERT_EQ(int(b.entries.size()), size * size) << name;
        for (auto [t, linbits] : users) {
            listed[t] = true;
            const PairTable& table = kPairTables[t];
            ASSERT_NE(table.codes, nullptr) << "table " << t;
            EXPECT_EQ(table.width, size) << "table " << t;
            EXPECT_EQ(table.linbits, linbits) << "table " << t;
            EXPECT_EQ(kPairCodes[table.decoder].codes, table.codes) << "table " << t;
            for (const Entry& e : b.entries)
                expect_code(table.codes[e.values[0] * size + e.values[1]], e.code,
                            "table " + std::to_string(t) + " x " + std::to_string(e.values[0]) +
                                " y " + std::to_string(e.values[1]));
        }
    }
    for (int t = 0; t < 32; ++t)
        EXPECT_EQ(kPairTables[t].codes == nullptr, !listed[t]) << "table " << t;
}

void compare_aac_huffman() {
    using namespace zem::aac;
    for (const CodeBlock& b : read_codes("aac_huffman.txt", 0)) {
        if (b.head[0] == "SCALEFACTOR") {
            ASSERT_EQ(b.entries.size(), 121u);
            for (const Entry& e : b.entries) {
                EXPECT_EQ(e.values[1], e.values[0] - 60);
                expect_code(kSfCodes[e.values[0]], e.code,
                            "scale factor " + std::to_string(e.values[0]));
            }
            continue;
        }
        const int n = std::stoi(b.head[1]), lav = head_value(b.head, "LAV");
        const bool isSigned = head_value(b.head, "SIGNED") == 1;
        const SpectralBook& book = kSpectralBooks[n];
        EXPECT_EQ(book.dim, head_value(b.head, "DIM")) << "book " << n;
        EXPECT_EQ(book.hasSigns, !isSigned) << "book " << n;
        EXPECT_EQ(book.offset, isSigned ? lav : 0) << "book " << n;
        EXPECT_EQ(book.radix, isSigned ? 2 * lav + 1 : lav + 1) << "book " << n;
        ASSERT_EQ(book.codes.count, int(b.entries.size())) << "book " << n;
        for (const Entry& e : b.entries)
            expect_code(book.codes.codes[e.values[0]], e.code,
                        "book " + std::to_string(n) + " index " + std::to_string(e.values[0]));
    }
}

// One line per band table: its kind, row numbers, then the boundaries.
void compare_band_tables() {
    for (const Words& w : read_listing("mp3_sfb_bands.txt")) { // kind row id sf rate b...
        const int row = std::stoi(w[1]);
        const bool isLong = w[0] == "LONG";
        const int16_t* table = isLong ? zem::mp3::kSfbLong[row] : zem::mp3::kSfbShort[row];
        ASSERT_EQ(int(w.size()) - 5,
                  isLong ? zem::mp3::kLongBoundaries : zem::mp3::kShortBoundaries);
        for (std::size_t i = 5; i < w.size(); ++i)
            EXPECT_EQ(table[i - 5], std::stoi(w[i])) << w[0] << " row " << row << " band " << i - 5;
    }
    for (const Words& w : read_listing("aac_swb_offsets.txt")) { // kind sfi rate count offsets
        const int sfi = std::stoi(w[1]);
        const zem::aac::SwbTable& t =
            w[0] == "LONG" ? zem::aac::kSwbLong[sfi] : zem::aac::kSwbShort[sfi];
        ASSERT_EQ(t.count, std::stoi(w[3])) << w[0] << " " << sfi;
        ASSERT_EQ(int(w.size()) - 4, t.count + 1) << w[0] << " " << sfi;
        for (std::size_t i = 4; i < w.size(); ++i)
            EXPECT_EQ(t.offset[i - 4], std::stoi(w[i])) << w[0] << " " << sfi << " band " << i - 4;
    }
}

TEST(Tables, MatchTheStandardListings) {
    compare_mp3_huffman();
    compare_aac_huffman();
    compare_band_tables();
    const std::vector<Words> window = read_listing("mp3_synthesis_window.txt"); // i D D*65536 ...
    ASSERT_EQ(window.size(), 512u);
    for (const Words& w : window)
        EXPECT_EQ(zem::mp3::kSynthesisWindow16[std::stoi(w[0])], std::stoi(w[2])) << "D " << w[0];
}

constexpr int kNone = 1 << 30;

// A decoding form of one code table: it decodes the window into values and the bits they take,
// or returns false when it leaves the codeword to another form.
struct Form {
    std::string name;
    std::vector<Entry> entries;
    bool signs = false; // one sign bit per non-zero value follows the codeword
    int reach = 32;     // the form resolves codewords with their signs up to this many bits
    int escape = kNone; // ... and none with this value
    std::function<bool(uint32_t window, std::vector<int>& values, int& bits)> decode;
};

// Two's-complement fields of `bits` bits, the first lowest.
std::vector<int> fields(uint32_t symbol, int count, int bits) {
    std::vector<int> v;
    for (int j = 0; j < count; ++j)
        v.push_back(int32_t(symbol >> (bits * j) << (32 - bits)) >> (32 - bits));
    return v;
}

std::vector<Form> mp3_forms() {
    using namespace zem::mp3;
    std::vector<Form> forms;
    for (const CodeBlock& b : read_codes("mp3_huffman.txt", 0)) {
        const std::string name = "mp3 " + b.head[0] + " " + b.head[1];
        if (b.head[0] == "QUAD") {
            const SignedQuadLookup* q = &kSignedQuadLookups[b.head[1] == "B"];
            forms.push_back({name + " lookup", b.entries, true, kSignedQuadBits, kNone,
                             [q](uint32_t window, std::vector<int>& v, int& bits) {
                                 const uint32_t e = q->entry[window >> (32 - kSignedQuadBits)];
                                 v = fields(e >> 4, 4, 2);
                                 bits = int(e & 15);
                                 return true;
                             }});
            continue;
        }
        const PairTable& t = kPairTables[std::stoi(b.head[1])];
        const PairDecoder d = pair_decoder(t);
        forms.push_back({name, b.entries, false, 32, kNone,
                         [d](uint32_t window, std::vector<int>& v, int& bits) {
                             const uint32_t s = d.decode(window, bits);
                             v = {symbol_x(s), symbol_y(s)};
                             return true;
                         }});
        const SignedPairLookup* s = &kSignedPairLookups[t.decoder];
        forms.push_back({name + " lookup", b.entries, true, kSignedPairBits, t.linbits ? 15 : kNone,
                         [s](uint32_t window, std::vector<int>& v, int& bits) {
                             const uint32_t e = s->entry[window >> (32 - kSignedPairBits)];
                             v = {signed_pair_x(e), signed_pair_y(e)};
                             bits = int(e & 63);
                             return e != 0;
                         }});
    }
    return forms;
}

std::vector<Form> aac_forms() {
    using namespace zem::aac;
    std::vector<Form> forms;
    for (const CodeBlock& b : read_codes("aac_huffman.txt", 1)) {
        if (b.head[0] == "SCALEFACTOR") {
            forms.push_back({"aac scale factors", b.entries, false, 32, kNone,
                             [](uint32_t window, std::vector<int>& v, int& bits) {
                                 v = {int(kSfDecoder.table().decode(window, bits)) - 60};
                                 return true;
                             }});
            continue;
        }
        const int n = std::stoi(b.head[1]), dim = kSpectralBooks[n].dim;
        const SpectralDecoder d = spectral_decoder(n);
        forms.push_back({"aac book " + b.head[1], b.entries, false, 32, kNone,
                         [d, dim](uint32_t window, std::vector<int>& v, int& bits) {
                             v = fields(d.decode(window, bits), dim, spectral_field_bits(dim));
                             return true;
                         }});
    }
    return forms;
}

// The SBR and PS code tables as they are listed (index value length code), built at run time
// with the same builder: the symbol is the index, the value index minus the listed offset.
std::vector<Form> listed_forms(const std::string& file, const std::string& offsetKey) {
    using Decoder = zem::HuffDecoder<uint16_t, 128>;
    std::vector<Form> forms;
    for (const CodeBlock& b : read_codes(file, 1)) {
        auto codes = std::make_shared<std::vector<HuffCode>>();
        for (const Entry& e : b.entries)
            codes->push_back(e.code);
        zem::HuffSource source;
        source.codes = codes->data();
        source.count = int(codes->size());
        auto d = std::make_shared<Decoder>(zem::make_huff_decoder<uint16_t, 128>(source));
        EXPECT_TRUE(d->valid) << b.head[1];
        const int offset = head_value(b.head, offsetKey);
        forms.push_back({file + " " + b.head[1], b.entries, false, 32, kNone,
                         [d, codes, offset](uint32_t window, std::vector<int>& v, int& bits) {
                             v = {int(d->table().decode(window, bits)) - offset};
                             return true;
                         }});
    }
    return forms;
}

TEST(Tables, EveryCodewordDecodesToItsValue) {
    std::vector<Form> forms = mp3_forms();
    for (std::vector<Form> more : {aac_forms(), listed_forms("sbr_huffman.txt", "LAV"),
                                   listed_forms("ps_huffman.txt", "OFFSET")})
        forms.insert(forms.end(), more.begin(), more.end());
    ASSERT_EQ(forms.size(), 2u * 15 + 2 + 12 + 20);
    for (const Form& f : forms)
        for (const Entry& e : f.entries) {
            int nonZero = 0;
            for (int v : e.values)
                nonZero += f.signs && v != 0;
            const int length = e.code.length + nonZero;
            bool escaped = false;
            for (int v : e.values)
                escaped = escaped || v == f.escape;
            for (uint32_t s = 0; s < (1u << nonZero); ++s) {
                // The codeword, its sign bits (1 is negative, the first value's first), then
                // bits that belong to the next codeword.
                const uint32_t window = e.code.code << (32 - e.code.length) |
                                        (nonZero ? s << (32 - length) : 0) |
                                        (0x5A5A5A5Au >> length);
                std::vector<int> want = e.values;
                for (int j = 0, k = nonZero; j < int(want.size()); ++j)
                    if (f.signs && want[std::size_t(j)] != 0 && ((s >> --k) & 1))
                        want[std::size_t(j)] = -want[std::size_t(j)];
                std::vector<int> got;
                int bits = -1;
                const bool resolved = f.decode(window, got, bits);
                const std::string where =
                    f.name + " code " + std::to_string(e.code.code) + " signs " + std::to_string(s);
                if (length > f.reach || escaped) {
                    EXPECT_FALSE(resolved) << where;
                    continue;
                }
                ASSERT_TRUE(resolved) << where;
                EXPECT_EQ(got, want) << where;
                EXPECT_EQ(bits, length) << where;
            }
        }
}

} // namespace
