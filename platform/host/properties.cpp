// Host implementation of the property service stand-in; see cutils/properties.h.
#include <cutils/properties.h>
#include <errno.h>
#include <inttypes.h>
#include <stdlib.h>
#include <string.h>

#include <fstream>
#include <mutex>
#include <string>
#include <unordered_map>

namespace {

constexpr const char* kSeedFileVariable = "ZYNCAM_HOST_PROPERTIES";

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
        while (std::getline(file, line)) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (line.empty() || line[0] == '#') continue;
            const size_t equals = line.find('=');
            if (equals == std::string::npos || equals == 0) continue;
            std::string value = line.substr(equals + 1);
            if (value.size() >= PROPERTY_VALUE_MAX) continue;
            mValues[line.substr(0, equals)] = value;
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
