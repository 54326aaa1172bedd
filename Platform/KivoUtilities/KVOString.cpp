#include "KivoUtilities/KVOString.h"

#include <ostream>

KVOString& KVOString::toLower() {
    for (char& c : _s) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return *this;
}

bool KVOString::equalsIgnoreCase(KVOString const& other) const {
    if (_s.size() != other._s.size()) return false;
    for (std::size_t i = 0; i < _s.size(); ++i) {
        char a = _s[i], b = other._s[i];
        if (a >= 'A' && a <= 'Z') a = static_cast<char>(a - 'A' + 'a');
        if (b >= 'A' && b <= 'Z') b = static_cast<char>(b - 'A' + 'a');
        if (a != b) return false;
    }
    return true;
}

KVOString KVOString::itoa(long long value) { return KVOString(std::to_string(value)); }

std::ostream& operator<<(std::ostream& os, KVOString const& s) { return os << s.str(); }
