// libFuzzer target: `compare` of two runs made of whatever bytes, split in
// two, each in a preview file and a capture file of its own folder. Every
// comparison ends with 0 or 1; a run agrees with itself; A against B finds
// what B against A finds, with A and B swapped; what agrees exactly agrees
// with numbers ignored. Any difference aborts.
#include <fuzzer/FuzzedDataProvider.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "FuzzScratch.h"
#include "Report.h"

namespace {

constexpr const char* kPreviewName =
    "000000001_0000_0000_preview__2025_0102_030405_TuningLog_01.txt";
constexpr const char* kCaptureName =
    "000000001_0007_0001_capture__2025_0102_030406_TuningLog_01.txt";

void check(bool holds, const char* what) {
    if (holds) return;
    fprintf(stderr, "compare invariant broken: %s\n", what);
    abort();
}

void writeRun(const std::string& folder, const std::string& bytes, size_t captureFrom) {
    std::filesystem::create_directories(folder);
    for (const auto& [name, part] : {std::make_pair(kPreviewName, bytes.substr(0, captureFrom)),
                                     std::make_pair(kCaptureName, bytes.substr(captureFrom))}) {
        FILE* file = fopen((folder + "/" + name).c_str(), "wb");
        if (file == nullptr || fwrite(part.data(), 1, part.size(), file) != part.size() ||
            fclose(file) != 0) {
            abort();
        }
    }
}

struct Answer {
    int status;
    std::map<std::string, int> types;  // objects by type, "-a" and "-b" as of run A and B
};

Answer compare(const std::string& a, const std::string& b, bool ignoreNumbers) {
    std::vector<std::string> args = {"compare", "--no-cache", "--json"};
    if (ignoreNumbers) args.push_back("--ignore-numbers");
    args.push_back(a);
    args.push_back(b);
    std::ostringstream out;
    std::ostream err(nullptr);
    Answer answer{scenariolog::runScenarioLog(args, out, err), {}};
    std::istringstream lines(out.str());
    std::string line;
    const std::string key = "{\"type\":\"";
    while (std::getline(lines, line)) {
        check(line.compare(0, key.size(), key) == 0, "every line is an object with a type");
        ++answer.types[line.substr(key.size(), line.find('"', key.size()) - key.size())];
    }
    return answer;
}

// The types of an answer with runs A and B swapped.
std::map<std::string, int> swapped(const std::map<std::string, int>& types) {
    std::map<std::string, int> result;
    for (const auto& [type, count] : types) {
        std::string other = type;
        const size_t side = type.size() - 2;
        if (type.size() > 2 && type.compare(side, 2, "-a") == 0) other.replace(side, 2, "-b");
        if (type.size() > 2 && type.compare(side, 2, "-b") == 0) other.replace(side, 2, "-a");
        result[other] = count;
    }
    return result;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzscratch::makeFolder("compare_runs_fuzz");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string a = fuzzscratch::folder() + "/a";
    const std::string b = fuzzscratch::folder() + "/b";
    std::error_code ignored;
    std::filesystem::remove_all(a, ignored);
    std::filesystem::remove_all(b, ignored);
    FuzzedDataProvider input(data, size);
    const size_t split = input.ConsumeIntegralInRange<size_t>(0, size);
    const size_t captureA = input.ConsumeIntegralInRange<size_t>(0, split);
    const size_t captureB = input.ConsumeIntegralInRange<size_t>(0, size - split);
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    writeRun(a, bytes.substr(0, split), captureA);
    writeRun(b, bytes.substr(split), captureB);

    check(compare(a, a, false).status == 0, "a run agrees with itself");
    const Answer forth = compare(a, b, false);
    const Answer back = compare(b, a, false);
    check(forth.status == 0 || forth.status == 1, "compare ends with 0 or 1");
    check(forth.status == back.status, "A against B ends as B against A");
    check(swapped(forth.types) == back.types, "A against B finds what B against A finds, swapped");
    if (forth.status == 0) {
        check(compare(a, b, true).status == 0, "runs that agree agree with numbers ignored");
    }
    return 0;
}
