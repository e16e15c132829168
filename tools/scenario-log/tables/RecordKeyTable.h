// Numbers the distinct record keys in the order they are first seen, so that
// reports count and look up by a dense number instead of by names. A lookup
// compares the record's key text (Record::keyText, one short run of bytes)
// with the key that followed the last key looked up the last time (a
// module's records come in the same order request after request), and
// hashes it only when that guess is wrong. Memory grows with the number of
// distinct keys only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "reading/LogParser.h"
#include "tables/RecordKey.h"

namespace scenariolog {

class RecordKeyTable {
  public:
    RecordKeyTable();

    // The number of the key of `record` (a record as parsed), adding the key
    // when it is new.
    std::size_t idOf(const Record& record);

    const RecordKey& key(std::size_t id) const { return mKeys[id]; }
    std::size_t size() const { return mKeys.size(); }

  private:
    struct Slot {
        std::uint64_t hash = 0;
        std::uint32_t id = 0;  // key number + 1; 0 for an empty slot
    };

    bool isKey(std::size_t id, std::string_view text) const;
    std::size_t find(const Record& record);
    std::size_t add(const Record& record, std::uint64_t hash, std::size_t slot);
    void grow();

    std::vector<RecordKey> mKeys;
    std::vector<std::string> mKeyTexts;  // by key number
    // By key number: the number + 1 of the key looked up after it last time,
    // 0 for none yet.
    std::vector<std::size_t> mFollower;
    std::size_t mLast = 0;  // number + 1 of the key looked up last, 0 for none
    // Open addressing with linear probing; at most half full.
    std::vector<Slot> mSlots;
};

}  // namespace scenariolog
