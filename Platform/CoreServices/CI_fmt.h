// The core services' integer formatting call.
#pragma once

#include <string>

// Decimal text of `value`. `width` pads with blanks on the left when above the
// length of the text (0: no padding). The two last arguments are checking
// sentinels of the original interface, passed as 314159265 by callers; any
// other value is ignored too.
std::string CI_fmt(long long value, int width, long sentinel1, long sentinel2);
