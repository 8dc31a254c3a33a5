#include "decode/decode_job.h"

#include <array>

namespace mandrel {

namespace {

// Indexed by DecodeState; these are the names "Unexpected EOF (%s)." shows.
constexpr std::array<std::string_view, 13> kStateNames = {
    "LOOKFORHEADERTYPE",
    "PARSEBEGINLINE",
    "PREPAREHEADER",
    "DECODELINES",
    "PREPARETRAILER",
    "CLEANFINISH",
    "BADFINISH",
    "FINDSEPARATOR",
    "FINDSTARTOFDATA",
    "LOOKFORPARTCHECKSUM",
    "LOOKFORTOTALCHECKSUM",
    "CRITICALERROR",
    "YENCDATA",
};

}  // namespace

std::string_view DecodeStateName(int state) {
    if (state < 0 || state >= static_cast<int>(kStateNames.size())) {
        return {};
    }
    return kStateNames[static_cast<std::size_t>(state)];
}

}  // namespace mandrel
