#pragma once

namespace Plm
{

// A passkey: an operation that takes an AccessKey<A, B> as its last parameter can be called
// only by A and B, the only classes that can make one. Unused slots stay void, and a friend
// declaration of void is ignored.
template <class A, class B = void, class C = void, class D = void>
class AccessKey
{
    friend A;
    friend B;
    friend C;
    friend D;
    // User-provided, so that no brace initialisation gets around it.
    AccessKey() {}
};

}  // namespace Plm
