// Keeps the headlines and records of a few requests, in written order, from
// every block of theirs (a request whose buffer filled has several blocks).
// Memory grows with the kept requests only, not with the files.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "reading/SeriesWalker.h"

namespace scenariolog {

// One comparable piece of a request: a record, or a part of a headline.
struct KeptItem {
    std::string group;  // the module; "headline" for headline parts
    std::string label;  // the record's key (RecordKey::label), or "NDD" / "snippets"
    std::string text;
    std::string place;  // "FILE:LINE"
};

struct KeptRequest {
    bool seen = false;  // some line of the request was read
    std::uint64_t records = 0;
    std::vector<KeptItem> items;
};

class RequestCollector : public SeriesVisitor {
  public:
    static constexpr const char* kHeadlineGroup = "headline";

    explicit RequestCollector(const std::vector<int>& requests);

    void onHeadline(const LineContext& context, const Headline& headline) override;
    void onRecord(const LineContext& context, const Record& record) override;

    // Empty unless the request was asked for and read.
    const KeptRequest& request(int requestNum) const;

  private:
    KeptRequest* find(const LineContext& context);

    std::map<int, KeptRequest> mRequests;
};

}  // namespace scenariolog
