// FileWriter::reserveSpace: keeps more than kReserveFreeBytes free in the
// file system of the writer's folder by removing the folder's oldest regular
// files. The folder is shared with other writers and programs, so any regular
// file directly in it is a candidate, open or not; subfolders are never
// entered.
#include <dirent.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "FileWriter.h"
#include "RecorderLog.h"

namespace NSCam {
namespace TuningUtils {
namespace scenariorecorder {

namespace {

struct FileInfo {
    int64_t fileSize;
    int64_t modifiedTime;  // whole seconds of st_mtim
    std::string path;
};

using FileList = std::vector<std::unique_ptr<FileInfo>>;

enum class ListResult { kComplete, kPathTooLong };

// A cut path names some other file, and this code unlinks what it names: a
// truncated result counts as a formatting failure, like a negative one.
template <typename... Args>
bool formatPath(char (&area)[FileWriter::kPathSize], const char* format, Args... args) {
    const int length = snprintf(area, sizeof(area), format, args...);
    return length >= 0 && static_cast<size_t>(length) < sizeof(area);
}

// Free bytes of the file system holding `folder`, the blocks reserved for the
// privileged user included; -1 when statvfs fails.
int64_t freeBytes(const char* folder) {
    struct statvfs info;
    if (statvfs(folder, &info) != 0) return -1;
    return static_cast<int64_t>(info.f_bsize) * static_cast<int64_t>(info.f_bfree);
}

// Adds `path` when it names a regular file (following symbolic links).
void addIfRegularFile(const char* path, FileList* files) {
    struct stat info;
    if (stat(path, &info) != 0 || !S_ISREG(info.st_mode)) return;
    files->push_back(std::unique_ptr<FileInfo>(new FileInfo{
        static_cast<int64_t>(info.st_size), static_cast<int64_t>(info.st_mtim.tv_sec), path}));
}

// Collects the regular files of the open folder `dir`. Stops early when an
// entry's path can't be formatted; what was found so far stays in `files`.
ListResult listRegularFiles(DIR* dir, const std::string& folder, FileList* files) {
    char path[FileWriter::kPathSize];
    // readdir is unsafe only on a stream shared between threads; this one is the caller's own.
    while (const dirent* entry = readdir(dir)) {  // NOLINT(concurrency-mt-unsafe)
        if (!formatPath(path, "%s/%s", folder.c_str(), entry->d_name)) {
            return ListResult::kPathTooLong;
        }
        addIfRegularFile(path, files);
    }
    return ListResult::kComplete;
}

void sortOldestFirst(FileList* files) {
    std::sort(files->begin(), files->end(),
              [](const std::unique_ptr<FileInfo>& a, const std::unique_ptr<FileInfo>& b) {
                  return a->modifiedTime < b->modifiedTime;
              });
}

}  // namespace

void FileWriter::reserveSpace(bool quiet) {
    // A writer without a folder has nothing to reserve; "%s/" of an empty
    // folder would name the root folder and offer its files for removal.
    if (mFolder.empty()) return;
    char folder[kPathSize];
    if (!formatPath(folder, "%s/", mFolder.c_str())) {
        SR_LOGE("snprintf failed");
        return;
    }
    int64_t available = freeBytes(folder);
    if (available < 0 || available > kReserveFreeBytes) return;

    DIR* dir = opendir(folder);
    if (dir == nullptr) {
        if (!quiet) SR_LOGE("Open folder %s failed", folder);
        return;
    }
    FileList files;
    ListResult listed = ListResult::kComplete;
    try {
        listed = listRegularFiles(dir, mFolder, &files);
    } catch (const std::bad_alloc&) {
        // Out of memory while listing: the files found so far are still
        // candidates, as when the listing stops for a path.
    }
    closedir(dir);
    if (listed == ListResult::kPathTooLong) SR_LOGE("snprintf failed");

    sortOldestFirst(&files);
    for (const std::unique_ptr<FileInfo>& file : files) {
        if (unlink(file->path.c_str()) != 0) continue;
        if (!quiet) SR_LOGW("Storage full. Unlinked: %s", file->path.c_str());
        available += file->fileSize;
        if (available > kReserveFreeBytes) break;
    }
}

}  // namespace scenariorecorder
}  // namespace TuningUtils
}  // namespace NSCam
