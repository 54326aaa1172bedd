// The object manager's configuration: string values by section and key.
//
// One process-wide instance (getInstance). Sections and keys are matched
// exactly. Every call is thread-safe; values are read afresh on every get, so a
// change made with setValue is seen by the next reader.
#pragma once

#include "KivoUtilities/KVOString.h"
#include "KivoUtilities/KVOTypes.h"

#include <map>
#include <mutex>
#include <utility>

class QORAConfigManager {
public:
    static QORAConfigManager* getInstance();

    // True when the key exists; value receives its text.
    bool getString(KVOString const& section, KVOString const& key, KVOString& value) const;
    // True when the key exists and its whole text is a decimal integer that
    // fits 32 bits (leading and trailing blanks allowed); value is left
    // untouched otherwise.
    bool getSint32(KVOString const& section, KVOString const& key, KVOsint32& value) const;

    void setValue(KVOString const& section, KVOString const& key, KVOString value);
    void removeValue(KVOString const& section, KVOString const& key);
    void clear();

    // Reads an INI file: "[section]" lines, "key = value" lines, and comments
    // starting with ';' or '#'. Keys before any section go to the section "".
    // Values read replace existing ones; nothing else is removed. False when
    // the file cannot be opened or a line is malformed (lines before it stay).
    bool loadFile(KVOString const& path);

private:
    QORAConfigManager() = default;

    mutable std::mutex _lock;
    std::map<std::pair<std::string, std::string>, std::string> _values;  // guarded by _lock
};
