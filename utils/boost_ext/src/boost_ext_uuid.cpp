#include "boost_ext/boost_ext_uuid.h"

#include <ctime>

#include <boost/random/taus88.hpp>
#include <boost/uuid/random_generator.hpp>

namespace BoostExt
{

// The engine and the uuid generator drawing from it, kept together for the whole run.
class UuidGenerator
{
public:
    UuidGenerator()
        : engine_(static_cast<boost::random::taus88::result_type>(std::time(nullptr))),
          generator_(engine_)
    {
    }

    boost::uuids::uuid operator()() { return generator_(); }

private:
    boost::random::taus88 engine_;
    boost::uuids::basic_random_generator<boost::random::taus88> generator_;
};

boost::uuids::uuid generateUuid()
{
    static UuidGenerator generator;
    return generator();
}

}  // namespace BoostExt
