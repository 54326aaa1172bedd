#include "KivoUtilities/QORAConfigManager.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <fstream>

namespace {

std::string trim(std::string const& s) {
    auto b = s.find_first_not_of(" \t\r\n");
    if (b == std::string::npos) return {};
    auto e = s.find_last_not_of(" \t\r\n");
    return s.substr(b, e - b + 1);
}

}  // namespace

QORAConfigManager* QORAConfigManager::getInstance() {
    static QORAConfigManager instance;
    return &instance;
}

bool QORAConfigManager::getString(KVOString const& section, KVOString const& key, KVOString& value) const {
    std::lock_guard<std::mutex> guard(_lock);
    auto it = _values.find({section.str(), key.str()});
    if (it == _values.end()) return false;
    value = KVOString(it->second);
    return true;
}

bool QORAConfigManager::getSint32(KVOString const& section, KVOString const& key, KVOsint32& value) const {
    KVOString text;
    if (!getString(section, key, text)) return false;
    std::string t = trim(text.str());
    if (t.empty()) return false;
    errno = 0;
    char* end = nullptr;
    long long v = std::strtoll(t.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || v < INT32_MIN || v > INT32_MAX) return false;
    value = static_cast<KVOsint32>(v);
    return true;
}

void QORAConfigManager::setValue(KVOString const& section, KVOString const& key, KVOString value) {
    std::lock_guard<std::mutex> guard(_lock);
    _values[{section.str(), key.str()}] = value.str();
}

void QORAConfigManager::removeValue(KVOString const& section, KVOString const& key) {
    std::lock_guard<std::mutex> guard(_lock);
    _values.erase({section.str(), key.str()});
}

void QORAConfigManager::clear() {
    std::lock_guard<std::mutex> guard(_lock);
    _values.clear();
}

bool QORAConfigManager::loadFile(KVOString const& path) {
    std::ifstream in(path.str());
    if (!in) return false;
    std::string line, section;
    while (std::getline(in, line)) {
        std::string t = trim(line);
        if (t.empty() || t[0] == ';' || t[0] == '#') continue;
        if (t[0] == '[') {
            if (t.back() != ']') return false;
            section = trim(t.substr(1, t.size() - 2));
            continue;
        }
        auto eq = t.find('=');
        if (eq == std::string::npos) return false;
        std::string key = trim(t.substr(0, eq));
        if (key.empty()) return false;
        setValue(KVOString(section), KVOString(key), KVOString(trim(t.substr(eq + 1))));
    }
    return true;
}
