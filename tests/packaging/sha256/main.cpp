// Tries SHA-256 as our Qt for Windows has it: VELMO_HASH names the header that says in which form. The script "try"
// tells it what is right.
//
// usage: PROGRAM FOLDER SEED portable|extensions|either      everything but the long message
//        PROGRAM long FOLDER                                 the long message
//        PROGRAM speed                                       MB/s of each way of hashing
#include VELMO_HASH

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;
using Digests = std::map<size_t, std::string>; // by the length of the message

constexpr Kind kinds[] = {Kind::Sha224, Kind::Sha256};
constexpr size_t tableEnd = 1100;
constexpr size_t mebibyte = 1024 * 1024;
constexpr size_t longLength = 1024 * mebibyte;

const char *nameOf(Kind kind)
{
    return kind == Kind::Sha224 ? "SHA-224" : "SHA-256";
}

void tell(const std::string &what)
{
    std::printf("ok    %s\n", what.c_str());
    std::fflush(stdout);
}

Bytes read(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    check(file.is_open(), path + " is there");
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

/// Lines of "LENGTH DIGEST".
Digests readDigests(const std::string &folder, Kind kind)
{
    const std::string path = folder + (kind == Kind::Sha224 ? "/sha224" : "/sha256");
    std::ifstream file(path);
    Digests digests;
    size_t length = 0;
    for (std::string digest; file >> length >> digest;) {
        digests[length] = digest;
    }
    check(digests.size() == tableEnd + 2, path + " has a digest for each length");
    return digests;
}

void theProcessorsBestIsChosen([[maybe_unused]] const std::string &best)
{
#ifdef SHA256_BLOCKS_BY_EXTENSIONS
    if (best != "either") {
        Sha256Compression *expected = best == "portable" ? sha256CompressPortably : sha256CompressByExtensions;
        check(sha256Compression() == expected, "the " + best + " way is chosen");
        tell("the " + best + " way is chosen");
    }
    check(sha256ExtensionsAreAmong(bit_SSSE3 | bit_SSE4_1, bit_SHA), "with all three the extensions are used");
    check(sha256ExtensionsAreAmong(~0U, ~0U), "whatever else there is");
    check(!sha256ExtensionsAreAmong(~unsigned(bit_SSSE3), ~0U), "not without SSSE3");
    check(!sha256ExtensionsAreAmong(~unsigned(bit_SSE4_1), ~0U), "not without SSE4.1");
    check(!sha256ExtensionsAreAmong(~0U, ~unsigned(bit_SHA)), "not without SHA");
    tell("all three of SHA, SSSE3 and SSE4.1 are asked for");
#elif defined(SHA256_BLOCKS_H)
    check(best != "extensions", "the extensions are compiled");
#endif
}

std::string digestOf(Kind kind, const Way &way, const uint8_t *bytes, size_t length)
{
    Hash hash(kind, way);
    hash.add(bytes, length);
    return hash.finish();
}

/// The examples of FIPS 180-2 and its change notice for SHA-224.
void publishedExamplesHold(const Way &way)
{
    const std::string oneBlock = "abc";
    const std::string twoBlocks = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
    const std::string million(1000000, 'a');
    const struct {
        Kind kind;
        const std::string &message;
        const char *digest;
    } examples[] = {
        {Kind::Sha224, oneBlock, "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7"},
        {Kind::Sha224, twoBlocks, "75388b16512776cc5dba5da1fd890150b0c6455cb4f58b1952522525"},
        {Kind::Sha224, million, "20794655980c91d8bbb4c1ea97618a4bf03f42581948b2ee4ee7ad67"},
        {Kind::Sha256, oneBlock, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {Kind::Sha256, twoBlocks, "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {Kind::Sha256, million, "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    for (const auto &example : examples) {
        const auto *bytes = reinterpret_cast<const uint8_t *>(example.message.data());
        const std::string digest = digestOf(example.kind, way, bytes, example.message.size());
        check(digest == example.digest, std::string(nameOf(example.kind)) + " of a published example is " + digest);
    }
    tell("published examples");
}

/// A copy of its own for each, so that a tool sees a byte that is read in front of it or behind.
void eachLengthAtEachAlignmentHasItsDigest(const Way &way, const Bytes &message, Kind kind, const Digests &expected)
{
    for (size_t length = 0; length <= tableEnd; ++length) {
        const size_t offset = length % 16;
        for (const size_t shift : {size_t(0), offset}) {
            Bytes copy(shift + length);
            std::copy_n(message.begin(), length, copy.begin() + static_cast<std::ptrdiff_t>(shift));
            const std::string digest = digestOf(kind, way, copy.data() + shift, length);
            check(digest == expected.at(length), std::string(nameOf(kind)) + " of " + std::to_string(length) +
                                                     " bytes, " + std::to_string(shift) + " behind a boundary");
        }
    }
    tell(std::string(nameOf(kind)) + " of every length from 0 to " + std::to_string(tableEnd));
}

std::string digestInPieces(const Way &way, const Bytes &message, Kind kind, size_t length,
                           const std::function<size_t()> &nextPiece)
{
    Hash hash(kind, way);
    for (size_t done = 0; done < length;) {
        const size_t piece = std::min(nextPiece(), length - done);
        hash.add(message.data() + done, piece);
        done += piece;
    }
    return hash.finish();
}

void piecesMakeNoDifference(const Way &way, const Bytes &message, Kind kind, const Digests &expected, unsigned seed)
{
    std::mt19937 random(seed);
    const auto upTo = [&random](size_t most) { return static_cast<size_t>(random()) % (most + 1); };
    const auto where = " in pieces, by seed " + std::to_string(seed);
    for (int round = 0; round < 2000; ++round) {
        const size_t length = upTo(tableEnd);
        const size_t most = 1 + upTo(round % 2 == 0 ? 70 : 400);
        const std::string digest = digestInPieces(way, message, kind, length, [&] { return upTo(most); });
        check(digest == expected.at(length), std::to_string(length) + " bytes" + where);
    }
    for (const size_t most : {size_t(64), size_t(200), size_t(5000), message.size() / 2}) {
        const std::string digest = digestInPieces(way, message, kind, message.size(), [&] { return upTo(most); });
        check(digest == expected.at(message.size()), "the whole message" + where);
    }
    tell(std::string(nameOf(kind)) + where);
}

#ifdef SHA256_BLOCKS_H

/// A message whose length is set, as if it had come so far.
void theLengthIsCountedInBitsUpToItsEnd(const Way &way)
{
    const Bytes block(64);
    Hash carrying(Kind::Sha256, way);
    carrying.context.Length_Low = 0xfffffe08;
    carrying.context.Length_High = 6;
    check(carrying.add(block.data(), 62) == shaSuccess && carrying.context.Length_High == 6 &&
              carrying.context.Length_Low == 0xfffffff8,
          "the last byte of the lower half's count does not carry");
    check(carrying.add(block.data(), 1) == shaSuccess && carrying.context.Length_High == 7 &&
              carrying.context.Length_Low == 0,
          "the next byte carries");

    Hash ending(Kind::Sha256, way);
    ending.context.Length_Low = 0xfffffe08;
    ending.context.Length_High = 0xffffffff;
    check(ending.add(block.data(), 62) == shaSuccess, "a message of one byte less than 2^61 is in order");
    check(ending.add(block.data(), 1) == shaInputTooLong && ending.context.Corrupted == shaInputTooLong,
          "a message of 2^61 bytes is too long");
    tell("the length's carry and its end");
}

#endif

void tryAll(const std::string &folder, unsigned seed, const std::string &best)
{
    theProcessorsBestIsChosen(best);
    const Bytes message = read(folder + "/message");
    check(message.size() == mebibyte, "the message has a mebibyte");
    for (const Way &way : ways()) {
        std::printf("      %s:\n", way.name);
        publishedExamplesHold(way);
#ifdef SHA256_BLOCKS_H
        theLengthIsCountedInBitsUpToItsEnd(way);
#endif
        for (const Kind kind : kinds) {
            const Digests expected = readDigests(folder, kind);
            eachLengthAtEachAlignmentHasItsDigest(way, message, kind, expected);
            piecesMakeNoDifference(way, message, kind, expected, seed);
        }
    }
}

/// Twice beyond what 32 bits count: the message over and over, and zeros in one piece, which take no memory until
/// written.
void tryLong(const std::string &folder)
{
    const Bytes message = read(folder + "/message");
    std::ifstream file(folder + "/long");
    std::string expectedRepeated;
    std::string expectedZeros;
    check(static_cast<bool>(file >> expectedRepeated >> expectedZeros), "the long digests are there");
    const auto zeros = std::unique_ptr<void, decltype(&std::free)>(std::calloc(longLength, 1), &std::free);
    check(zeros != nullptr, "there is memory for the long message");
    for (const Way &way : ways()) {
        Hash repeated(Kind::Sha256, way);
        for (size_t done = 0; done < longLength; done += message.size()) {
            repeated.add(message.data(), message.size());
        }
        check(repeated.finish() == expectedRepeated, std::string(way.name) + ": 1 GiB in pieces of 1 MiB");
        const std::string digest = digestOf(Kind::Sha256, way, static_cast<const uint8_t *>(zeros.get()), longLength);
        check(digest == expectedZeros, std::string(way.name) + ": 1 GiB in one piece");
        tell(std::string(way.name) + ": 1 GiB, in one piece and in many");
    }
}

/// By the processor's time as "openssl speed" does it, in the pieces in which the launcher reads; and the best piece,
/// since the time is the clock's on Windows, and a neighbour on the processor can only take from a piece.
void measure()
{
    const Bytes message(mebibyte, 0x5a);
    for (const Way &way : ways()) {
        Hash hash(Kind::Sha256, way);
        auto best = std::chrono::steady_clock::duration::max();
        double mebibytes = 0;
        const std::clock_t start = std::clock();
        while (std::clock() - start < 2 * CLOCKS_PER_SEC) {
            const auto before = std::chrono::steady_clock::now();
            hash.add(message.data(), message.size());
            best = std::min(best, std::chrono::steady_clock::now() - before);
            mebibytes += 1;
        }
        const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
        const double atBest = 1 / std::chrono::duration<double>(best).count();
        constexpr double megabytes = static_cast<double>(mebibyte) / 1e6;
        std::printf("%.0f MB/s, %.0f at best: %s\n", mebibytes * megabytes / seconds, atBest * megabytes, way.name);
    }
}

} // namespace

int main(int count, char **arguments)
{
    const std::vector<std::string> words(arguments + 1, arguments + count);
    if (words.size() == 1 && words[0] == "speed") {
        measure();
    } else if (words.size() == 2 && words[0] == "long") {
        tryLong(words[1]);
    } else if (words.size() == 3) {
        tryAll(words[0], static_cast<unsigned>(std::stoul(words[1])), words[2]);
    } else {
        std::fputs("usage: PROGRAM FOLDER SEED portable|extensions|either, PROGRAM long FOLDER or PROGRAM speed\n",
                   stderr);
        return 2;
    }
    return 0;
}
