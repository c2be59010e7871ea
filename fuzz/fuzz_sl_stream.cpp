// Fuzzes the stream loaders. The input is:
//   byte 0: the loader back end (array, deque, input stream);
//   byte 1: the length of a small program of reads (at most 48 bytes);
//   the program: one byte per operation (reads, skips, groups, composites);
//   the rest: the stream itself, from its header byte.
// Every value that reads successfully is written again into a flex saver and
// a deque saver, which must produce the same bytes. Only Sl::Exception may
// come out of the loaders.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"
#include "revision_saveload/sl_loader_bin_deque.h"
#include "revision_saveload/sl_loader_bin_istream.h"
#include "revision_saveload/sl_saver_bin_deque.h"
#include "revision_saveload/sl_saver_bin_flex.h"
#include "revision_saveload/sl_write_read.h"

namespace
{

// Writes the same calls into both packed-group savers.
struct Mirror
{
    Sl::SaverBinFlex flex{Sl::BO_Native, Sl::TC_On};
    std::deque<uint8_t> dequeData;
    Sl::SaverBinDeque deque{dequeData, Sl::BO_Native, Sl::TC_On};
    uint32_t depth = 0;

    template <class F>
    void both(F&& f)
    {
        f(static_cast<Sl::Saver&>(flex));
        f(static_cast<Sl::Saver&>(deque));
    }
    void check()
    {
        while (depth > 0)
        {
            both([](Sl::Saver& s) { s.endGroup(); });
            --depth;
        }
        const std::vector<uint8_t> a = flex.dataAsVector();
        if (a.size() != flex.dataSize() ||
            a != std::vector<uint8_t>(dequeData.begin(), dequeData.end()))
            std::abort();
    }
};

Sl::EnumPackedHint hintOf(uint8_t op) { return (op & 0x80) ? Sl::PH_Fixed : Sl::PH_Packed; }

template <class T>
void readScalar(Sl::Loader& loader, Mirror& mirror, Sl::EnumPackedHint hint)
{
    T value{};
    loader.read(value, hint);
    mirror.both([&](Sl::Saver& s) { s.write(nullptr, value, hint); });
}

template <class T>
void readPlain(Sl::Loader& loader, Mirror& mirror)
{
    T value{};
    loader.read(value);
    mirror.both([&](Sl::Saver& s) { s.write(nullptr, value); });
}

template <class T>
void readComposite(Sl::Loader& loader, Mirror& mirror)
{
    T value{};
    Sl::read(loader, value);
    mirror.both([&](Sl::Saver& s) { Sl::write(nullptr, s, value); });
}

void runOp(uint8_t op, Sl::Loader& loader, Mirror& mirror, uint32_t& depth)
{
    switch (op % 24)
    {
    case 0:
    {
        const uint32_t version = loader.startGroup(op >> 5);
        mirror.both([&](Sl::Saver& s) { s.startGroup(nullptr, version); });
        ++mirror.depth;
        ++depth;
        break;
    }
    case 1:
        if (depth > 0)
        {
            loader.endGroup();
            mirror.both([](Sl::Saver& s) { s.endGroup(); });
            --mirror.depth;
            --depth;
        }
        break;
    case 2:
        loader.skipGroup();
        break;
    case 3:
        readPlain<bool>(loader, mirror);
        break;
    case 4:
        readPlain<int8_t>(loader, mirror);
        break;
    case 5:
        readPlain<uint8_t>(loader, mirror);
        break;
    case 6:
        readScalar<int16_t>(loader, mirror, hintOf(op));
        break;
    case 7:
        readScalar<uint16_t>(loader, mirror, hintOf(op));
        break;
    case 8:
        readScalar<int32_t>(loader, mirror, hintOf(op));
        break;
    case 9:
        readScalar<uint32_t>(loader, mirror, hintOf(op));
        break;
    case 10:
        readScalar<int64_t>(loader, mirror, hintOf(op));
        break;
    case 11:
        readScalar<uint64_t>(loader, mirror, hintOf(op));
        break;
    case 12:
        readPlain<float>(loader, mirror);
        break;
    case 13:
        readPlain<double>(loader, mirror);
        break;
    case 14:
    {
        // The size-then-data pair, as a careful caller uses it.
        const uint32_t size = loader.readBinarySize();
        if (size > loader.maxDataLeft())
            throw Sl::EndOfBufferException();
        std::vector<uint8_t> bytes(size);
        loader.readBinaryData(bytes.data());
        mirror.both([&](Sl::Saver& s) { s.writeBinary(nullptr, bytes.data(), size); });
        break;
    }
    case 15:
        readComposite<std::string>(loader, mirror);
        break;
    case 16:
        readComposite<std::vector<uint32_t>>(loader, mirror);
        break;
    case 17:
        readComposite<std::map<std::string, glm::vec3>>(loader, mirror);
        break;
    case 18:
        readComposite<boost::optional<boost::uuids::uuid>>(loader, mirror);
        break;
    case 19:
        readComposite<glm::mat3>(loader, mirror);
        break;
    case 20:
        readComposite<std::set<boost::filesystem::path>>(loader, mirror);
        break;
    case 21:
        loader.skipBinary();
        break;
    case 22:
        switch ((op >> 5) & 7)
        {
        case 0:
            loader.skip<int16_t>(hintOf(op));
            break;
        case 1:
            loader.skip<uint32_t>(hintOf(op));
            break;
        case 2:
            loader.skip<int64_t>(hintOf(op));
            break;
        case 3:
            loader.skip<float>();
            break;
        case 4:
            loader.skip<double>();
            break;
        default:
            loader.skip<bool>();
            break;
        }
        break;
    default:
        readComposite<std::vector<glm::quat>>(loader, mirror);
        break;
    }
}

void run(Sl::Loader& loader, const uint8_t* program, size_t programSize, Mirror& mirror)
{
    uint32_t depth = 0;
    for (size_t i = 0; i < programSize; ++i)
        runOp(program[i], loader, mirror, depth);
    // Then read whatever is left as bytes, to the end.
    for (int i = 0; i < 4096; ++i)
        readPlain<uint8_t>(loader, mirror);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    const uint8_t kind = data[0] % 3;
    const size_t programSize = std::min<size_t>(data[1] % 49, size - 2);
    const uint8_t* program = data + 2;
    const uint8_t* stream = program + programSize;
    const size_t streamSize = size - 2 - programSize;

    Mirror mirror;
    try
    {
        if (kind == 0)
        {
            Sl::LoaderBinArray loader(stream, static_cast<uint32_t>(streamSize));
            run(loader, program, programSize, mirror);
        }
        else if (kind == 1)
        {
            const std::deque<uint8_t> source(stream, stream + streamSize);
            Sl::LoaderBinDeque loader(source);
            run(loader, program, programSize, mirror);
        }
        else
        {
            std::istringstream in(std::string(reinterpret_cast<const char*>(stream), streamSize));
            Sl::LoaderBinIStream loader(in);
            run(loader, program, programSize, mirror);
        }
    }
    catch (const Sl::Exception&)
    {
        // The documented outcome of bad data.
    }
    mirror.check();
    return 0;
}
