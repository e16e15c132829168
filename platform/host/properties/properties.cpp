// Host implementation of the property service stand-in; see cutils/properties.h.
#include <cutils/properties.h>
#include <errno.h>
#include <inttypes.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iostream>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "RecorderProperties.h"

namespace {

namespace recorder = NSCam::TuningUtils::scenariorecorder;

constexpr const char* kSeedFileVariable = "ZYNCAM_HOST_PROPERTIES";

// Keys that start like the recorder's own (letter case aside) but are none of
// them are misspellings: the recorder would read its default in silence. The
// enable key's capital R makes the likeliest one.
constexpr const char* kRecorderKeyPrefix = "vendor.debug.camera.scenario";
constexpr const char* kRecorderKeys[] = {recorder::kEnableProperty, recorder::kFolderProperty,
                                         recorder::kFlushIntervalProperty};

bool startsWithIgnoringCase(const std::string& text, const std::string& prefix) {
    if (text.size() < prefix.size()) return false;
    return std::equal(prefix.begin(), prefix.end(), text.begin(), [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) ==
               std::tolower(static_cast<unsigned char>(b));
    });
}

// Edits (insertions, deletions, replacements; case counts) that turn a into b.
size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t above = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (a[i - 1] != b[j - 1])});
            diagonal = above;
        }
    }
    return row[b.size()];
}

const char* nearestRecorderKey(const std::string& key) {
    const char* nearest = kRecorderKeys[0];
    for (const char* candidate : kRecorderKeys) {
        if (editDistance(key, candidate) < editDistance(key, nearest)) nearest = candidate;
    }
    return nearest;
}

bool isMisspeltRecorderKey(const std::string& key) {
    if (!startsWithIgnoringCase(key, kRecorderKeyPrefix)) return false;
    return std::none_of(std::begin(kRecorderKeys), std::end(kRecorderKeys),
                        [&key](const char* known) { return key == known; });
}

class PropertyStore {
  public:
    static PropertyStore& instance() {
        static PropertyStore* store = new PropertyStore();  // never destroyed: usable at exit
        return *store;
    }

    bool get(const char* key, std::string* value) {
        std::lock_guard<std::mutex> lock(mLock);
        auto it = mValues.find(key);
        if (it == mValues.end()) return false;
        *value = it->second;
        return true;
    }

    void set(const char* key, const char* value) {
        std::lock_guard<std::mutex> lock(mLock);
        mValues[key] = value;
    }

  private:
    PropertyStore() { seedFromFile(); }

    // Runs once, inside the constructor, before the store is shared.
    void seedFromFile() {
        // Read once, at first use; the process does not set it meanwhile.
        const char* path = getenv(kSeedFileVariable);  // NOLINT(concurrency-mt-unsafe)
        if (path == nullptr || *path == '\0') return;
        std::ifstream file(path);
        std::string line;
        std::set<std::string> warned;
        while (std::getline(file, line)) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (line.empty() || line[0] == '#') continue;
            const size_t equals = line.find('=');
            if (equals == std::string::npos || equals == 0) continue;
            std::string key = line.substr(0, equals);
            if (isMisspeltRecorderKey(key) && warned.insert(key).second) {
                std::cerr << path << ": unknown property " << key
                          << ", which the scenario recorder ignores; did you mean "
                          << nearestRecorderKey(key) << "?\n";
            }
            std::string value = line.substr(equals + 1);
            if (value.size() >= PROPERTY_VALUE_MAX) continue;
            mValues[key] = value;
        }
    }

    std::mutex mLock;
    std::unordered_map<std::string, std::string> mValues;  // guarded by mLock
};

}  // namespace

extern "C" int property_get(const char* key, char* value, const char* default_value) {
    if (value == nullptr) return -1;
    std::string stored;
    if (key != nullptr && PropertyStore::instance().get(key, &stored) && !stored.empty()) {
        memcpy(value, stored.c_str(), stored.size() + 1);
        return static_cast<int>(stored.size());
    }
    if (default_value == nullptr) {
        value[0] = '\0';
        return 0;
    }
    size_t length = strlen(default_value);
    if (length >= PROPERTY_VALUE_MAX) length = PROPERTY_VALUE_MAX - 1;
    memcpy(value, default_value, length);
    value[length] = '\0';
    return static_cast<int>(length);
}

extern "C" int32_t property_get_int32(const char* key, int32_t default_value) {
    if (key == nullptr) return default_value;
    char buffer[PROPERTY_VALUE_MAX] = {};
    if (property_get(key, buffer, "") <= 0) return default_value;
    const int savedErrno = errno;
    errno = 0;
    char* end = nullptr;
    const intmax_t parsed = strtoimax(buffer, &end, 0);
    const bool overflow = (parsed == INTMAX_MIN || parsed == INTMAX_MAX) && errno == ERANGE;
    errno = savedErrno;
    if (overflow || end == buffer || parsed < INT32_MIN || parsed > INT32_MAX) {
        return default_value;
    }
    return static_cast<int32_t>(parsed);
}

extern "C" int property_set(const char* key, const char* value) {
    if (key == nullptr || *key == '\0') return -1;
    if (value == nullptr) value = "";
    if (strlen(value) >= PROPERTY_VALUE_MAX) return -1;
    PropertyStore::instance().set(key, value);
    return 0;
}
