#include "CoreServices/CI_fmt.h"

std::string CI_fmt(long long value, int width, long /*sentinel1*/, long /*sentinel2*/) {
    std::string text = std::to_string(value);
    if (width > 0 && static_cast<std::size_t>(width) > text.size())
        text.insert(0, static_cast<std::size_t>(width) - text.size(), ' ');
    return text;
}
