#include "versions/automaticchoice.h"

#include <algorithm>

namespace freshen {

Candidates candidates(const NewestRevisions &maxima)
{
    Candidates result;
    result.withBeta = std::max({maxima.newestBeta, maxima.newestStable, maxima.latestStableFix});
    result.stable = maxima.latestStableFix > maxima.updater ? maxima.latestStableFix : maxima.newestStable;
    return result;
}

} // namespace freshen
