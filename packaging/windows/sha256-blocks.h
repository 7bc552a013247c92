// The blocks of SHA-224 and SHA-256. Added to Qt by Velmo Games, under the terms of sha.h beside it, and included by
// sha224-256.c alone, behind sha.h: whole blocks are hashed where the caller has them, and by the processor's SHA
// extensions where it has these. Names of one letter are those of FIPS 180-4.
#ifndef SHA256_BLOCKS_H
#define SHA256_BLOCKS_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#if defined(__GNUC__) && defined(__x86_64__)
#define SHA256_BLOCKS_BY_EXTENSIONS
#include <cpuid.h>
#include <immintrin.h>
#endif

/// Takes \a count blocks of 64 bytes, which may lie at any address, into the hash value \a state.
typedef void Sha256Compression(uint32_t *state, const uint8_t *blocks, size_t count);

alignas(16) static const uint32_t sha256Constants[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2,
};

static inline uint32_t sha256Rotated(uint32_t word, int right)
{
    return (word >> right) | (word << (32 - right));
}

/// Six of the eight working variables stay as they are; for the next round their names move on by one.
static inline void sha256Round(uint32_t a, uint32_t b, uint32_t c, uint32_t &d, uint32_t e, uint32_t f, uint32_t g,
                               uint32_t &h, uint32_t constantAndWord)
{
    h += (sha256Rotated(e, 6) ^ sha256Rotated(e, 11) ^ sha256Rotated(e, 25)) + (g ^ (e & (f ^ g))) + constantAndWord;
    d += h;
    h += (sha256Rotated(a, 2) ^ sha256Rotated(a, 13) ^ sha256Rotated(a, 22)) + (b ^ ((a ^ b) & (b ^ c)));
}

/// Moves the sixteen words of the message schedule on by sixteen. Unrolled, each has a place that the compiler knows.
static inline void sha256Schedule(uint32_t w[16])
{
#pragma GCC unroll 16
    for (int t = 0; t < 16; ++t) {
        const uint32_t early = w[(t + 1) % 16];
        const uint32_t late = w[(t + 14) % 16];
        w[t] += (sha256Rotated(early, 7) ^ sha256Rotated(early, 18) ^ (early >> 3)) + w[(t + 9) % 16] +
                (sha256Rotated(late, 17) ^ sha256Rotated(late, 19) ^ (late >> 10));
    }
}

static inline void sha256CompressPortably(uint32_t *state, const uint8_t *blocks, size_t count)
{
    for (; count > 0; --count, blocks += 64) {
        uint32_t w[16];
        for (int t = 0; t < 16; ++t) {
            const uint8_t *bytes = blocks + 4 * t;
            w[t] = uint32_t(bytes[0]) << 24 | uint32_t(bytes[1]) << 16 | uint32_t(bytes[2]) << 8 | uint32_t(bytes[3]);
        }
        uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
        uint32_t e = state[4], f = state[5], g = state[6], h = state[7];
        for (int first = 0; first < 64; first += 16) {
            if (first > 0) {
                sha256Schedule(w);
            }
            for (int t = 0; t < 16; t += 8) {
                const uint32_t *k = sha256Constants + first + t;
                sha256Round(a, b, c, d, e, f, g, h, k[0] + w[t]);
                sha256Round(h, a, b, c, d, e, f, g, k[1] + w[t + 1]);
                sha256Round(g, h, a, b, c, d, e, f, k[2] + w[t + 2]);
                sha256Round(f, g, h, a, b, c, d, e, k[3] + w[t + 3]);
                sha256Round(e, f, g, h, a, b, c, d, k[4] + w[t + 4]);
                sha256Round(d, e, f, g, h, a, b, c, k[5] + w[t + 5]);
                sha256Round(c, d, e, f, g, h, a, b, k[6] + w[t + 6]);
                sha256Round(b, c, d, e, f, g, h, a, k[7] + w[t + 7]);
            }
        }
        const uint32_t variables[8] = {a, b, c, d, e, f, g, h};
        for (int index = 0; index < 8; ++index) {
            state[index] += variables[index];
        }
    }
}

#ifdef SHA256_BLOCKS_BY_EXTENSIONS

/// The processor keeps the working variables as two vectors, and does two rounds by one instruction.
__attribute__((target("sha,sse4.1,ssse3"))) static inline void
sha256CompressByExtensions(uint32_t *state, const uint8_t *blocks, size_t count)
{
    const __m128i bigEndian = _mm_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203);
    __m128i abef = _mm_set_epi32(int(state[0]), int(state[1]), int(state[4]), int(state[5]));
    __m128i cdgh = _mm_set_epi32(int(state[2]), int(state[3]), int(state[6]), int(state[7]));
    for (; count > 0; --count, blocks += 64) {
        const __m128i abefBefore = abef;
        const __m128i cdghBefore = cdgh;
        __m128i w[4]; // the last sixteen words of the message schedule, the oldest four at the place of the next four
#pragma GCC unroll 16
        for (int four = 0; four < 16; ++four) {
            __m128i &next = w[four % 4];
            if (four < 4) {
                const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(blocks) + four);
                next = _mm_shuffle_epi8(bytes, bigEndian);
            } else {
                const __m128i last = w[(four + 3) % 4];
                const __m128i sevenBack = _mm_alignr_epi8(last, w[(four + 2) % 4], 4);
                next = _mm_add_epi32(_mm_sha256msg1_epu32(next, w[(four + 1) % 4]), sevenBack);
                next = _mm_sha256msg2_epu32(next, last);
            }
            const __m128i constants = _mm_load_si128(reinterpret_cast<const __m128i *>(sha256Constants) + four);
            const __m128i sums = _mm_add_epi32(next, constants);
            cdgh = _mm_sha256rnds2_epu32(cdgh, abef, sums);
            abef = _mm_sha256rnds2_epu32(abef, cdgh, _mm_unpackhi_epi64(sums, sums));
        }
        abef = _mm_add_epi32(abef, abefBefore);
        cdgh = _mm_add_epi32(cdgh, cdghBefore);
    }
    state[0] = uint32_t(_mm_extract_epi32(abef, 3));
    state[1] = uint32_t(_mm_extract_epi32(abef, 2));
    state[2] = uint32_t(_mm_extract_epi32(cdgh, 3));
    state[3] = uint32_t(_mm_extract_epi32(cdgh, 2));
    state[4] = uint32_t(_mm_extract_epi32(abef, 1));
    state[5] = uint32_t(_mm_extract_epi32(abef, 0));
    state[6] = uint32_t(_mm_extract_epi32(cdgh, 1));
    state[7] = uint32_t(_mm_extract_epi32(cdgh, 0));
}

/// By ecx of CPUID's leaf 1 and ebx of its leaf 7.
static inline bool sha256ExtensionsAreAmong(unsigned leaf1, unsigned leaf7)
{
    return (leaf1 & bit_SSSE3) != 0 && (leaf1 & bit_SSE4_1) != 0 && (leaf7 & bit_SHA) != 0;
}

static inline bool sha256ExtensionsAreThere()
{
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0, leaf1 = 0;
    return __get_cpuid(1, &eax, &ebx, &leaf1, &edx) != 0 && __get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0 &&
           sha256ExtensionsAreAmong(leaf1, ebx);
}

#endif

/// The quickest that this processor can do. It is asked once, by whichever thread comes first.
static inline Sha256Compression *sha256Compression()
{
#ifdef SHA256_BLOCKS_BY_EXTENSIONS
    static Sha256Compression *const quickest =
        sha256ExtensionsAreThere() ? sha256CompressByExtensions : sha256CompressPortably;
    return quickest;
#else
    return sha256CompressPortably;
#endif
}

/// Takes \a length bytes into a message that is neither finished nor corrupt. Only what fills no block is copied.
static inline int sha256Add(SHA256Context *context, const uint8_t *bytes, unsigned length, Sha256Compression *compress)
{
    const uint64_t bitsBefore = uint64_t(context->Length_High) << 32 | context->Length_Low;
    const uint64_t bits = bitsBefore + uint64_t(length) * 8;
    if (bits < bitsBefore) {
        return context->Corrupted = shaInputTooLong;
    }
    context->Length_High = uint32_t(bits >> 32);
    context->Length_Low = uint32_t(bits);

    unsigned held = unsigned(context->Message_Block_Index);
    if (held > 0) {
        const unsigned missing = SHA256_Message_Block_Size - held;
        const unsigned taken = length < missing ? length : missing;
        memcpy(context->Message_Block + held, bytes, taken);
        bytes += taken;
        length -= taken;
        held += taken;
        if (held == SHA256_Message_Block_Size) {
            compress(context->Intermediate_Hash, context->Message_Block, 1);
            held = 0;
        }
    }
    const unsigned whole = length / SHA256_Message_Block_Size;
    const unsigned rest = length % SHA256_Message_Block_Size;
    compress(context->Intermediate_Hash, bytes, whole);
    if (rest > 0) {
        memcpy(context->Message_Block, bytes + size_t(whole) * SHA256_Message_Block_Size, rest);
    }
    context->Message_Block_Index = int_least16_t(held + rest);
    return shaSuccess;
}

#endif
