// Input files of the tool and the messages that refuse a damaged effect.

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "debug/debug_check.h"
#include "particle_system/ps_context.h"
#include "particle_system/ps_limits.h"
#include "particle_system/ps_mem_managed_context.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "revision_saveload/sl_exceptions.h"
#include "scintari_input.h"

namespace
{

using Bytes = std::vector<std::uint8_t>;

Bytes sample()
{
    std::vector<std::uint8_t> bytes;
    std::string why;
    if (!Scintari::readInputFile(SCINTARI_SAMPLE_EFFECT, bytes, why))
        throw std::runtime_error(why);
    return bytes;
}

std::string writeFile(const std::string& name, const Bytes& bytes)
{
    const std::string path = testing::TempDir() + name;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    return path;
}

// A file of `size` bytes that takes no room on the disk.
std::string sparseFile(const std::string& name, std::uint64_t size)
{
    const std::string path = testing::TempDir() + name;
    std::ofstream(path, std::ios::trunc).close();
    if (::truncate(path.c_str(), static_cast<off_t>(size)) != 0)
        throw std::runtime_error("truncate");
    return path;
}

// What a message for people never shows.
void expectForPeople(const std::string& message)
{
    EXPECT_FALSE(message.empty());
    for (const char* word : {"::", "Exception", "DEBUG_", "std::", "what()"})
        EXPECT_EQ(message.find(word), std::string::npos) << message;
}

TEST(ScintariInput, ReadsRegularFilesOnly)
{
    const Bytes bytes = {1, 2, 3, 0, 255};
    const std::string path = writeFile("scintari_input_small.bin", bytes);
    const std::string fifo = testing::TempDir() + "scintari_input_fifo";
    ::unlink(fifo.c_str());
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);

    struct Case
    {
        std::string path;
        const char* message;  // empty: read
    };
    const Case cases[] = {
        {path, ""},
        {writeFile("scintari_input_empty.bin", {}), ""},
        {testing::TempDir() + "scintari_input_missing.bin", "can't open '.*': No such file"},
        {testing::TempDir(), "' is a folder, not a file"},
        {"/dev/zero", "'/dev/zero' is not a regular file"},
        // A pipe is refused without waiting for a writer.
        {fifo, "' is not a regular file"},
        {sparseFile("scintari_input_large.bin", Scintari::kMaxInputBytes + 1),
         "holds 67108865 bytes, more than the 67108864 \\(64 MiB\\) an input may have"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.path);
        Bytes read;
        std::string why;
        const bool ok = Scintari::readInputFile(c.path, read, why);
        if (*c.message == '\0')
        {
            EXPECT_TRUE(ok) << why;
        }
        else
        {
            EXPECT_FALSE(ok);
            EXPECT_TRUE(std::regex_search(why, std::regex(c.message))) << why;
        }
    }
    Bytes read;
    std::string why;
    ASSERT_TRUE(Scintari::readInputFile(path, read, why));
    EXPECT_EQ(read, bytes);
    ::unlink(fifo.c_str());
}

TEST(ScintariInput, ReadsAFileOfTheLargestSize)
{
    const std::string path = sparseFile("scintari_input_largest.bin", Scintari::kMaxInputBytes);
    Bytes read;
    std::string why;
    EXPECT_TRUE(Scintari::readInputFile(path, read, why)) << why;
    EXPECT_EQ(read.size(), Scintari::kMaxInputBytes);
    ::unlink(path.c_str());
}

TEST(ScintariInput, LoadsTheSample)
{
    Ps::MemManagedContext context;
    std::string why;
    const Bytes bytes = sample();
    EXPECT_NE(Scintari::loadEffect(bytes, context.get(), why), nullptr) << why;
    EXPECT_EQ(Scintari::locateLoadFailure(bytes, context.get()), std::nullopt);
}

TEST(ScintariInput, CutEffectEndsTooEarlyWhereItsValueStarts)
{
    Ps::MemManagedContext context;
    const Bytes whole = sample();
    for (size_t size = 0; size < whole.size(); ++size)
    {
        SCOPED_TRACE("cut to " + std::to_string(size) + " bytes");
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        std::string why;
        EXPECT_EQ(Scintari::loadEffect(cut, context.get(), why), nullptr);
        expectForPeople(why);
        std::smatch match;
        ASSERT_TRUE(
            std::regex_match(why, match, std::regex("the data ends too early at byte (\\d+)")))
            << why;
        EXPECT_LE(std::stoul(match[1]), size);
    }
    // The last value of an effect is its presimulation time, a float: a file without its last
    // byte ends too early where that float starts.
    std::string why;
    const Bytes cut(whole.begin(), whole.end() - 1);
    EXPECT_EQ(Scintari::loadEffect(cut, context.get(), why), nullptr);
    EXPECT_EQ(why, "the data ends too early at byte " + std::to_string(whole.size() - 4));
}

TEST(ScintariInput, DamagedEffectSaysWhereInWords)
{
    Ps::MemManagedContext context;
    const Bytes whole = sample();
    Bytes header = whole;
    header[0] = 0xFF;  // not a header byte of the stream format
    std::string why;
    EXPECT_EQ(Scintari::loadEffect(header, context.get(), why), nullptr);
    EXPECT_EQ(why, "the data is damaged at byte 0");

    // Every single damaged byte is loaded or refused in words: damage with the offset inside the
    // file, a value beyond the runtime's bounds with the bound.
    int refusedByCheck = 0;
    for (size_t i = 0; i < whole.size(); ++i)
        for (const std::uint8_t value : {0x00, 0x7F, 0xFF})
        {
            Bytes bytes = whole;
            if (bytes[i] == value)
                continue;
            bytes[i] = value;
            SCOPED_TRACE("byte " + std::to_string(i) + " = " + std::to_string(value));
            std::string message;
            if (Scintari::loadEffect(bytes, context.get(), message))
                continue;
            expectForPeople(message);
            std::smatch match;
            if (!std::regex_search(message, match, std::regex("at byte (\\d+)")))
            {
                // Only a refusal by the runtime's bounds comes without a place, in words of its own.
                EXPECT_EQ(message.find("damaged"), std::string::npos) << message;
                EXPECT_EQ(message.find("the data"), std::string::npos) << message;
                continue;
            }
            EXPECT_LE(std::stoul(match[1]), whole.size());
            if (message.rfind("the effect is damaged at byte ", 0) == 0)
                ++refusedByCheck;
        }
    EXPECT_GT(refusedByCheck, 0) << "the runtime's own checks refuse some damage";
}

TEST(ScintariInput, RefusalsOfTheRuntimeBoundsAreShownAsTheyAre)
{
    Ps::MemManagedContext context;
    const Bytes whole = sample();
    std::string why;
    context.get().setMemoryBudget(64);
    EXPECT_EQ(Scintari::loadEffect(whole, context.get(), why), nullptr);
    expectForPeople(why);
    EXPECT_NE(why.find("budget"), std::string::npos) << why;
    EXPECT_EQ(why.find("damaged"), std::string::npos) << why;

    // A bound is a broken check too, but one that explains itself.
    const Ps::LimitException limit(Ps::LimitException::LK_FrameRate, "the frame rate is too high");
    EXPECT_EQ(Scintari::describeFailure(limit), "the frame rate is too high");
}

TEST(ScintariInput, FailuresInWords)
{
    struct Case
    {
        std::exception_ptr error;
        const char* message;
    };
    const Case cases[] = {
        {std::make_exception_ptr(Debug::CheckException("DEBUG_ASSERT( x > 0 )")),
         "the effect is damaged"},
        {std::make_exception_ptr(Sl::EndOfBufferException()), "the data ends too early"},
        {std::make_exception_ptr(Sl::CorruptedDataException()), "the data is damaged"},
        {std::make_exception_ptr(Sl::OldLoaderVersionException()),
         "a part of the data was written by a newer version of the program"},
        {std::make_exception_ptr(Sl::WrongTypeException()),
         "a value is of another type than the one expected there"},
        {std::make_exception_ptr(std::bad_alloc()), "there is not enough memory"},
        // A refusal that explains itself is passed on as it is.
        {std::make_exception_ptr(std::runtime_error("the effect needs 900 MB, more than the 256 MB"
                                                    " budget")),
         "the effect needs 900 MB, more than the 256 MB budget"},
    };
    for (const Case& c : cases)
    {
        try
        {
            std::rethrow_exception(c.error);
        }
        catch (const std::exception& e)
        {
            EXPECT_EQ(Scintari::describeFailure(e), c.message);
        }
    }
    try
    {
        throw Debug::CheckException("DEBUG_ASSERT( ok )");
    }
    catch (const std::exception& e)
    {
        EXPECT_EQ(Scintari::describeFailure(e, "the block"), "the block is damaged");
    }
    EXPECT_EQ(Scintari::describeStreamFailure(Sl::OldLoaderVersionException(), 12),
              "a part of the data at byte 12 was written by a newer version of the program");
}

}  // namespace
