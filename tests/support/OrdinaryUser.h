#pragma once

#include <stdexcept>

#include <unistd.h>

namespace Bleedwise::Testing {

/// Takes the superuser's rights, to which permissions mean nothing, from this process for the
/// length of a scope. Does nothing when it has none.
class OrdinaryUser {
public:
    OrdinaryUser() : previous_(::geteuid()) {
        constexpr uid_t nobody = 65534;
        if (previous_ == 0 && ::seteuid(nobody) != 0)
            throw std::runtime_error("could not give up the superuser's rights");
    }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
    ~OrdinaryUser() {
        if (::seteuid(previous_) != 0)
            ::_exit(1);
    }

private:
    uid_t previous_;
};

} // namespace Bleedwise::Testing
