// Our blocks by themselves, in each way in which this processor can do them.
#pragma once

#include "Check.h"

#include <algorithm>
#include <cstdint>
#include <vector>

// What the blocks know of Qt's sha.h.
enum { shaSuccess = 0, shaInputTooLong = 2, SHA256_Message_Block_Size = 64 };
struct SHA256Context {
    uint32_t Intermediate_Hash[8];
    uint32_t Length_High;
    uint32_t Length_Low;
    int_least16_t Message_Block_Index;
    uint8_t Message_Block[SHA256_Message_Block_Size];
    int Computed;
    int Corrupted;
};
#include "sha256-blocks.h"

struct Way {
    const char *name;
    Sha256Compression *compress;
};

inline std::vector<Way> ways()
{
    std::vector<Way> ways = {{"portable", sha256CompressPortably}};
#ifdef SHA256_BLOCKS_BY_EXTENSIONS
    if (sha256Compression() == sha256CompressByExtensions) {
        ways.push_back({"extensions", sha256CompressByExtensions});
    }
#endif
    return ways;
}

/// With the first hash values and the padding, which Qt's file goes on having.
class Hash {
public:
    Hash(Kind kind, const Way &way)
        : kind_(kind)
        , compress_(way.compress)
    {
        static constexpr uint32_t first[2][8] = {
            {0xc1059ed8, 0x367cd507, 0x3070dd17, 0xf70e5939, 0xffc00b31, 0x68581511, 0x64f98fa7, 0xbefa4fa4},
            {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a, 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19}};
        std::copy_n(first[kind == Kind::Sha224 ? 0 : 1], 8, context.Intermediate_Hash);
    }

    int add(const uint8_t *bytes, size_t length)
    {
        return sha256Add(&context, bytes, static_cast<unsigned>(length), compress_);
    }

    std::string finish()
    {
        const uint64_t bits = uint64_t(context.Length_High) << 32 | context.Length_Low;
        const auto held = static_cast<size_t>(context.Message_Block_Index);
        std::vector<uint8_t> padding((held < 56 ? 56 : 120) - held);
        padding[0] = 0x80;
        for (int shift = 56; shift >= 0; shift -= 8) {
            padding.push_back(static_cast<uint8_t>(bits >> shift));
        }
        add(padding.data(), padding.size());
        check(context.Message_Block_Index == 0, "the padding ends a block");
        std::string text;
        for (size_t index = 0; index < (kind_ == Kind::Sha224 ? 7 : 8); ++index) {
            char hex[9];
            std::snprintf(hex, sizeof hex, "%08x", context.Intermediate_Hash[index]);
            text += hex;
        }
        return text;
    }

    SHA256Context context = {};

private:
    Kind kind_;
    Sha256Compression *compress_;
};
