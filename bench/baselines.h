#pragma once

// Client of the Qt Remote Objects baseline, built only when the module is
// found (the gRPC client is a helper process of its own).

#include "bench_client.h"

#include <string>
#include <vector>

namespace bench {

// Qt Remote Objects over `local:<name>`.
std::vector<double> qtroRoundTrip(const std::string &name, bool big, int samples, int spacingUs);
RateResult qtroRate(const std::string &name, int connections, int inFlight, double seconds);

} // namespace bench
