// Standard input and output as files for the engines, which read and write named files: "-"
// as an input is copied into a private temporary directory first, "-O -" collects the output
// in one and streams it out afterwards.
#pragma once

#include <cstdio>
#include <string>

namespace mandrel {

// A directory of its own in $TMPDIR (else /tmp), named "mdr" and six random characters,
// readable by its owner only, removed with all it holds when the object goes.
class PrivateDirectory {
public:
    PrivateDirectory() = default;
    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;
    ~PrivateDirectory();

    // False (errno set) when the directory cannot be made.
    bool Make();
    const std::string& Path() const { return path_; }
    bool Made() const { return !path_.empty(); }

private:
    std::string path_;
};

// Copies everything from the stream into a new file; false (errno set) on a failure.
bool CopyStreamToFile(std::FILE* stream, const std::string& path);
// Copies the file to the stream; false (errno set) on a failure.
bool CopyFileToStream(const std::string& path, std::FILE* stream);

}  // namespace mandrel
