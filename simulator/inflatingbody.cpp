#include "inflatingbody.h"

#include <cstdint>
#include <stdexcept>
#include <vector>
#include <zlib.h>

namespace simulator {

namespace {

constexpr std::size_t blockSize = 1U << 20U;

/// One MiB of blanks as deflate blocks that end on a byte and refer to nothing before them, so that they can
/// be repeated: inflating costs the receiver a thousand times what making costs here.
std::string repeatableBlock()
{
    z_stream stream{};
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 9, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::runtime_error("zlib can't be started");
    }
    std::vector<Bytef> blanks(blockSize, Bytef{' '});
    std::vector<Bytef> packed(blockSize / 8);
    stream.next_in = blanks.data();
    stream.avail_in = static_cast<uInt>(blanks.size());
    stream.next_out = packed.data();
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FULL_FLUSH);
    packed.resize(packed.size() - stream.avail_out);
    deflateEnd(&stream);
    return {packed.begin(), packed.end()};
}

void appendLittleEndian(std::string &bytes, std::uint32_t value)
{
    for (unsigned shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(static_cast<std::uint8_t>(value >> shift));
    }
}

} // namespace

std::string gzipOfBlanks(std::size_t inflatedBytes)
{
    const std::vector<Bytef> blanks(blockSize, Bytef{' '});
    const uLong blockSum = crc32(0, blanks.data(), static_cast<uInt>(blanks.size()));
    const std::string block = repeatableBlock();
    const std::size_t blocks = (inflatedBytes + blockSize - 1) / blockSize;
    std::string bytes{"\x1F\x8B\x08\x00\x00\x00\x00\x00\x02\xFF", 10};
    uLong sum = crc32(0, nullptr, 0);
    for (std::size_t i = 0; i < blocks; ++i) {
        bytes += block;
        sum = crc32_combine(sum, blockSum, static_cast<z_off_t>(blockSize));
    }
    bytes += std::string("\x03\x00", 2);
    appendLittleEndian(bytes, static_cast<std::uint32_t>(sum));
    appendLittleEndian(bytes, static_cast<std::uint32_t>(blocks * blockSize));
    return bytes;
}

} // namespace simulator
