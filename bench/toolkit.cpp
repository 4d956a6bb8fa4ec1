// What the toolkit's checks and packers cost, each beside the plainest way of
// doing the same. The functions are called through the plugin's exports, as a
// driver in another library would call them.
#include <benchmark/benchmark.h>

#include <zlib.h>

#include <cstdint>
#include <vector>

#include "drivers/df1/framing.h"
#include "drivers/lib_crc.h"
#include "drivers/tools/checksums.h"
#include "drivers/tools/packing.h"

namespace {

std::vector<unsigned char> message(size_t size)
{
    std::vector<unsigned char> bytes(size);
    for (size_t i = 0; i < size; ++i)
        bytes[i] = static_cast<unsigned char>(i * 151 + 7);
    return bytes;
}

template <std::uint32_t Polynomial>
std::uint32_t lowBitFirst(std::uint32_t crc, unsigned char byte)
{
    crc ^= byte;
    for (int bit = 0; bit < 8; ++bit)
        crc = (crc & 1) != 0 ? (crc >> 1) ^ Polynomial : crc >> 1;
    return crc;
}

template <std::uint32_t Polynomial>
std::uint32_t highBitFirst(std::uint32_t crc, unsigned char byte)
{
    crc ^= static_cast<std::uint32_t>(byte) << 8;
    for (int bit = 0; bit < 8; ++bit)
        crc = (crc & 0x8000) != 0 ? (crc << 1) ^ Polynomial : crc << 1;
    return crc & 0xFFFF;
}

template <typename Check>
void block(benchmark::State& state, Check check)
{
    const auto bytes = message(static_cast<size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(check(bytes.data(), static_cast<int>(bytes.size())));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

/// A check that goes byte by byte through @p update.
template <typename Value, typename Update>
auto each(Update update)
{
    return [update](const unsigned char* data, int length) {
        Value crc = 0;
        for (int i = 0; i < length; ++i)
            crc = update(crc, data[i]);
        return crc;
    };
}

unsigned short sick(const unsigned char* data, int length)
{
    unsigned short crc = 0;
    unsigned char previous = 0;
    for (int i = 0; i < length; ++i) {
        crc = update_crc_sick(crc, data[i], previous);
        previous = data[i];
    }
    return crc;
}

unsigned long zlibCrc32(const unsigned char* data, int length)
{
    return crc32(0, data, static_cast<uInt>(length));
}

// As long as a frame gets, and long enough for the call itself not to count.
void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(256)->Arg(65536);
}

#define CHECK(name, check) BENCHMARK_CAPTURE(block, name, check)->Apply(sizes)

CHECK(crc_16_update, each<unsigned short>(update_crc_16));
CHECK(crc_16_CRC16Calculate, CRC16Calculate);
CHECK(crc_16_DF1CRC16, DF1CRC16);
CHECK(crc_16_bitwise, each<std::uint32_t>(lowBitFirst<0xA001>));
CHECK(crc_ccitt_update, each<unsigned short>(update_crc_ccitt));
CHECK(crc_ccitt_bitwise, each<std::uint32_t>(highBitFirst<0x1021>));
CHECK(crc_kermit_update, each<unsigned short>(update_crc_kermit));
CHECK(crc_kermit_bitwise, each<std::uint32_t>(lowBitFirst<0x8408>));
CHECK(crc_dnp_update, each<unsigned short>(update_crc_dnp));
CHECK(crc_dnp_bitwise, each<std::uint32_t>(lowBitFirst<0xA6BC>));
CHECK(crc_32_update, each<unsigned int>(update_crc_32));
CHECK(crc_32_bitwise, each<std::uint32_t>(lowBitFirst<0xEDB88320>));
CHECK(crc_32_zlib, zlibCrc32);
CHECK(crc_sick_update, sick);

// A typed read's header, 10 bytes.

void byteArrayPack(benchmark::State& state)
{
    unsigned short transaction = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(
            ByteArrayPack("CCCCvCCCC", 1, 2, 15, 0, ++transaction, 0xA2, 2, 7, 0x89));
}

void byteArrayByHand(benchmark::State& state)
{
    unsigned short transaction = 0;
    for (auto _ : state) {
        ++transaction;
        QByteArray header;
        header.append('\1').append('\2').append('\xF').append('\0');
        header.append(static_cast<char>(transaction)).append(static_cast<char>(transaction >> 8));
        header.append('\xA2').append('\2').append('\7').append('\x89');
        benchmark::DoNotOptimize(header);
    }
}

void dataPack(benchmark::State& state)
{
    unsigned char header[10];
    unsigned short transaction = 0;
    for (auto _ : state) {
        DataPack(header, "CCCCvCCCC", 1, 2, 15, 0, ++transaction, 0xA2, 2, 7, 0x89);
        benchmark::DoNotOptimize(header);
    }
}

void storesByHand(benchmark::State& state)
{
    unsigned char header[10];
    unsigned short transaction = 0;
    for (auto _ : state) {
        ++transaction;
        const unsigned char bytes[10] = {1,
                                         2,
                                         15,
                                         0,
                                         static_cast<unsigned char>(transaction),
                                         static_cast<unsigned char>(transaction >> 8),
                                         0xA2,
                                         2,
                                         7,
                                         0x89};
        for (int i = 0; i < 10; ++i)
            header[i] = bytes[i];
        benchmark::DoNotOptimize(header);
    }
}

struct Reply
{
    unsigned char field[5];
    unsigned short transaction;
};

void dataUnpack(benchmark::State& state)
{
    const auto bytes = message(10);
    Reply reply;
    for (auto _ : state) {
        DataUnpack(bytes.data(), "xxCCCCCxv", reply.field, reply.field + 1, reply.field + 2,
                   reply.field + 3, reply.field + 4, &reply.transaction);
        benchmark::DoNotOptimize(reply);
    }
}

void loadsByHand(benchmark::State& state)
{
    auto bytes = message(10);
    Reply reply;
    for (auto _ : state) {
        benchmark::DoNotOptimize(bytes.data());
        benchmark::ClobberMemory();
        for (int i = 0; i < 5; ++i)
            reply.field[i] = bytes[2 + i];
        reply.transaction = static_cast<unsigned short>(bytes[8] | bytes[9] << 8);
        benchmark::DoNotOptimize(reply);
    }
}

BENCHMARK(byteArrayPack);
BENCHMARK(byteArrayByHand);
BENCHMARK(dataPack);
BENCHMARK(storesByHand);
BENCHMARK(dataUnpack);
BENCHMARK(loadsByHand);

}
