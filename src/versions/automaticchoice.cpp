#include "versions/automaticchoice.h"

#include <algorithm>

Candidates candidates(const VersionMaxima &maxima)
{
    Candidates result;
    result.withBeta = std::max({maxima.newestBeta, maxima.newestStable, maxima.latestStableFix});
    result.stable = maxima.latestStableFix > ownRevision ? maxima.latestStableFix : maxima.newestStable;
    return result;
}
