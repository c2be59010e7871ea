#pragma once

namespace Plm
{

// Sets a flag for the lifetime of the object, also when the scope is left by an exception.
class ScopedFlag
{
public:
    explicit ScopedFlag(bool& flag) : flag_(flag), previous_(flag) { flag_ = true; }
    ~ScopedFlag() { flag_ = previous_; }
    ScopedFlag(const ScopedFlag&) = delete;
    ScopedFlag& operator=(const ScopedFlag&) = delete;

private:
    bool& flag_;
    bool previous_;
};

}  // namespace Plm
