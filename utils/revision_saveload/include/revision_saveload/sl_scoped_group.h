#pragma once

#include <cstdint>
#include <exception>

#include "revision_saveload/sl_loader.h"
#include "revision_saveload/sl_saver.h"

namespace Sl
{

// Opens a group for the lifetime of the object. When the scope is left by an
// exception the group is still closed, so that what was written so far stays
// a well-formed stream, but a failure of that closing is dropped in favour of
// the exception in flight.
class ScopedSaverGroup
{
public:
    ScopedSaverGroup(const char* name, Saver& saver, uint32_t version = 0)
        : saver_(saver), exceptions_(std::uncaught_exceptions())
    {
        saver_.startGroup(name, version);
    }
    explicit ScopedSaverGroup(Saver& saver, uint32_t version = 0)
        : ScopedSaverGroup(nullptr, saver, version)
    {
    }
    ~ScopedSaverGroup() noexcept(false)
    {
        if (std::uncaught_exceptions() <= exceptions_)
        {
            saver_.endGroup();
            return;
        }
        try
        {
            saver_.endGroup();
        }
        catch (...)
        {
        }
    }
    ScopedSaverGroup(const ScopedSaverGroup&) = delete;
    ScopedSaverGroup& operator=(const ScopedSaverGroup&) = delete;

private:
    Saver& saver_;
    int exceptions_;
};

// Opens a group for the lifetime of the object and keeps the version read.
class ScopedLoaderGroup
{
public:
    explicit ScopedLoaderGroup(Loader& loader, uint32_t maxVersion = 0)
        : loader_(loader),
          exceptions_(std::uncaught_exceptions()),
          version_(loader.startGroup(maxVersion))
    {
    }
    ~ScopedLoaderGroup() noexcept(false)
    {
        if (std::uncaught_exceptions() <= exceptions_)
        {
            loader_.endGroup();
            return;
        }
        try
        {
            loader_.endGroup();
        }
        catch (...)
        {
        }
    }
    ScopedLoaderGroup(const ScopedLoaderGroup&) = delete;
    ScopedLoaderGroup& operator=(const ScopedLoaderGroup&) = delete;

    uint32_t version() const { return version_; }

private:
    Loader& loader_;
    int exceptions_;
    uint32_t version_;
};

}  // namespace Sl
