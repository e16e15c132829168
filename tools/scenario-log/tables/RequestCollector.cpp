#include "tables/RequestCollector.h"

#include "tables/RecordKey.h"

namespace scenariolog {
namespace {

std::string placeOf(const LineContext& context) {
    return context.file->path + ":" + std::to_string(context.line);
}

}  // namespace

RequestCollector::RequestCollector(const std::vector<int>& requests) {
    for (int request : requests) mRequests[request];
}

KeptRequest* RequestCollector::find(const LineContext& context) {
    if (!context.request) return nullptr;
    const auto found = mRequests.find(*context.request);
    if (found == mRequests.end()) return nullptr;
    found->second.seen = true;
    return &found->second;
}

// A headline is two items, its NDD texts and its snippets, each left out when
// empty: later blocks of a request usually have a headline of their own that
// holds nothing.
void RequestCollector::onHeadline(const LineContext& context, const Headline& headline) {
    KeptRequest* kept = find(context);
    if (kept == nullptr) return;
    const std::string_view line = context.text;
    const std::string_view ndd = line.substr(0, line.size() - headline.snippets.size());
    if (!ndd.empty()) {
        kept->items.push_back({kHeadlineGroup, "NDD", std::string(ndd), placeOf(context)});
    }
    if (!headline.snippets.empty()) {
        kept->items.push_back(
            {kHeadlineGroup, "snippets", std::string(headline.snippets), placeOf(context)});
    }
}

void RequestCollector::onRecord(const LineContext& context, const Record& record) {
    KeptRequest* kept = find(context);
    if (kept == nullptr) return;
    ++kept->records;
    const RecordKey key(RecordKeyView::of(record));
    kept->items.push_back({key.module, key.label(), std::string(record.text), placeOf(context)});
}

const KeptRequest& RequestCollector::request(int requestNum) const {
    static const KeptRequest kNone;
    const auto found = mRequests.find(requestNum);
    return found == mRequests.end() ? kNone : found->second;
}

}  // namespace scenariolog
