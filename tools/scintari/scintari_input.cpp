#include "scintari_input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <new>

#include "debug/debug_check.h"
#include "particle_system/ps_allocator.h"
#include "particle_system/ps_limits.h"
#include "particle_system/ps_mem_managed_system_shell.h"
#include "particle_system/ps_system_factory.h"
#include "revision_saveload/sl_exceptions.h"
#include "revision_saveload/sl_loader_bin_array.h"

namespace Scintari
{

namespace
{

std::string quoted(const std::string& path) { return "'" + path + "'"; }

// Closes the file however the reading ends.
struct FileDescriptor
{
    int fd;
    ~FileDescriptor()
    {
        if (fd >= 0)
            ::close(fd);
    }
};

// The second loading pass rebuilds the effect into a pool of its own to find where it stops;
// a pool larger than this is not made just for a message.
constexpr std::uint32_t kMaxLocatePool = 1u << 30;

}  // namespace

bool readInputFile(const std::string& path, std::vector<std::uint8_t>& bytes, std::string& why)
{
    // Not blocking: opening a named pipe would otherwise wait for a writer.
    const FileDescriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
    if (file.fd < 0)
    {
        why = "can't open " + quoted(path) + ": " + std::strerror(errno);
        return false;
    }
    struct stat info
    {
    };
    if (::fstat(file.fd, &info) != 0)
    {
        why = "can't read " + quoted(path) + ": " + std::strerror(errno);
        return false;
    }
    if (S_ISDIR(info.st_mode))
    {
        why = quoted(path) + " is a folder, not a file";
        return false;
    }
    if (!S_ISREG(info.st_mode))
    {
        why = quoted(path) + " is not a regular file (a device, a pipe or a socket is not read)";
        return false;
    }
    const std::uint64_t size = static_cast<std::uint64_t>(info.st_size);
    if (size > kMaxInputBytes)
    {
        why = quoted(path) + " holds " + std::to_string(size) + " bytes, more than the " +
              std::to_string(kMaxInputBytes) + " (64 MiB) an input may have";
        return false;
    }
    bytes.assign(static_cast<size_t>(size), 0);
    size_t done = 0;
    while (done < bytes.size())
    {
        const ssize_t n = ::read(file.fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
        {
            why = "can't read " + quoted(path) + ": " + std::strerror(errno);
            return false;
        }
        if (n == 0)
            break;  // the file got shorter meanwhile: what is there is the file
        done += static_cast<size_t>(n);
    }
    bytes.resize(done);
    return true;
}

std::string describeStreamFailure(const Sl::Exception& e)
{
    return describeStreamFailure(e, std::nullopt);
}

std::string describeStreamFailure(const Sl::Exception& e, std::optional<std::uint64_t> offset)
{
    const std::string at = offset ? " at byte " + std::to_string(*offset) : "";
    if (dynamic_cast<const Sl::EndOfBufferException*>(&e))
        return "the data ends too early" + at;
    if (dynamic_cast<const Sl::CorruptedDataException*>(&e))
        return "the data is damaged" + at;
    if (dynamic_cast<const Sl::OldLoaderVersionException*>(&e))
        return "a part of the data" + at + " was written by a newer version of the program";
    if (dynamic_cast<const Sl::WrongTypeException*>(&e))
        return "a value" + at + " is of another type than the one expected there";
    return "the data can't be read" + at;
}

std::optional<std::uint64_t> locateLoadFailure(const std::vector<std::uint8_t>& bytes,
                                               const Ps::Context& context)
{
    if (bytes.size() > std::numeric_limits<std::uint32_t>::max())
        return std::nullopt;
    const auto size = static_cast<std::uint32_t>(bytes.size());
    // The first pass: where most damage shows, before anything is allocated.
    std::uint32_t poolSize = 0;
    try
    {
        // The loader reads the header byte as it is made: a failure there is at byte 0.
        std::unique_ptr<Sl::LoaderBinArray> loader;
        try
        {
            loader = std::make_unique<Sl::LoaderBinArray>(bytes.data(), size);
        }
        catch (const Sl::Exception&)
        {
            return 0;
        }
        try
        {
            poolSize = Ps::SystemFactory::computePoolSize(*loader, context);
        }
        catch (const Sl::Exception&)
        {
            return loader->position();
        }
        catch (const Debug::CheckException&)
        {
            return loader->position();
        }
    }
    catch (const std::exception&)
    {
        return std::nullopt;
    }
    // The second pass builds the effect, as the loading does, into a pool of that size.
    if (poolSize > kMaxLocatePool)
        return std::nullopt;
    std::unique_ptr<std::uint8_t[]> pool(new (std::nothrow)
                                             std::uint8_t[poolSize ? poolSize : 1]());
    if (!pool)
        return std::nullopt;
    try
    {
        Sl::LoaderBinArray loader(bytes.data(), size);
        Ps::Allocator allocator(pool.get(), poolSize);
        try
        {
            Ps::SystemFactory::staticCreateFromLoader(loader, context, allocator);
        }
        catch (const Sl::Exception&)
        {
            return loader.position();
        }
        catch (const Debug::CheckException&)
        {
            return loader.position();
        }
    }
    catch (const std::exception&)
    {
    }
    return std::nullopt;
}

std::unique_ptr<Ps::MemManagedSystemShell> loadEffect(const std::vector<std::uint8_t>& bytes,
                                                      Ps::Context& context, std::string& why)
{
    if (bytes.size() > std::numeric_limits<std::uint32_t>::max())
    {
        why = "the effect is too large";
        return nullptr;
    }
    try
    {
        return std::make_unique<Ps::MemManagedSystemShell>(
            bytes.data(), static_cast<std::uint32_t>(bytes.size()), context);
    }
    catch (const Sl::Exception& e)
    {
        why = describeStreamFailure(e, locateLoadFailure(bytes, context));
    }
    catch (const Ps::LimitException& e)
    {
        // Beyond the runtime's bounds or memory budget: its message says which, in words.
        why = e.what();
    }
    catch (const Debug::CheckException&)
    {
        const std::optional<std::uint64_t> at = locateLoadFailure(bytes, context);
        why = "the effect is damaged" + (at ? " at byte " + std::to_string(*at) : std::string());
    }
    catch (const std::bad_alloc&)
    {
        why = "there is not enough memory to load the effect";
    }
    catch (const std::exception& e)
    {
        why = e.what();
    }
    return nullptr;
}

std::string describeFailure(const std::exception& e, const std::string& subject)
{
    if (dynamic_cast<const Ps::LimitException*>(&e))
        return e.what();
    if (dynamic_cast<const Debug::CheckException*>(&e))
        return subject + " is damaged";
    if (const auto* stream = dynamic_cast<const Sl::Exception*>(&e))
        return describeStreamFailure(*stream);
    if (dynamic_cast<const std::bad_alloc*>(&e))
        return "there is not enough memory";
    return e.what();
}

}  // namespace Scintari
