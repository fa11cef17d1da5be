// The message of the ParamError that a call throws, or a marker when it throws none, so that a
// test can compare failure texts word for word in one EXPECT_EQ.
#pragma once

#include "base/UserError.h"

#include <string>

namespace velmo::testing {

template <class F>
std::string paramErrorOf(F&& call) {
    try {
        call();
    } catch (const ParamError& error) {
        return error.message();
    }
    return "(no ParamError)";
}

} // namespace velmo::testing
