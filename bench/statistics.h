// Order statistics of samples; the samples are sorted in place.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

namespace bench {

// The sample below or at which the share q of the samples lies (nearest rank). NaN of none.
inline double quantile(std::vector<double> &samples, double q) {
    if (samples.empty()) {
        return std::nan("");
    }
    std::sort(samples.begin(), samples.end());
    const double rank = std::ceil(q * static_cast<double>(samples.size()));
    const auto index = static_cast<size_t>(std::max(rank, 1.0)) - 1;
    return samples[std::min(index, samples.size() - 1)];
}

inline double median(std::vector<double> &samples) {
    return quantile(samples, 0.5);
}

}  // namespace bench
