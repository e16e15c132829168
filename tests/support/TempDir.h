// A fresh temporary folder per test, removed with everything in it.
#pragma once

#include <string>
#include <vector>

namespace testsupport {

class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return mPath; }
    std::string file(const std::string& name) const { return mPath + "/" + name; }

  private:
    std::string mPath;
};

// Names of the regular files directly in `folder`, sorted.
std::vector<std::string> listFiles(const std::string& folder);
// Whole content of a file ("" when it cannot be read).
std::string readFile(const std::string& path);
// Lines of a text or a file, without their newlines.
std::vector<std::string> splitLines(const std::string& text);
std::vector<std::string> readLines(const std::string& path);
// Creates or replaces `path` with `content`.
void writeFile(const std::string& path, const std::string& content);

}  // namespace testsupport
