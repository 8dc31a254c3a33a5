// The parts of the current job, shared by the encoder (its output names, so an abandoned job
// can delete them) and the decoder (its part files and checksum figures).
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace mandrel {

class UserPort;

inline constexpr int MAX_PARTS = 99;

struct PartRecord {
    int32_t partNumber = 0;         // 0 = free row
    uint32_t expectedChecksum = 0;  // 0 = none given
    uint32_t calculatedChecksum = 0;
    int32_t expectedSize = 0;  // 0 or less = none given
    uint32_t calculatedSize = 0;
    std::string fileName;   // empty = no file
    std::string directory;  // where fileName lives; empty = the current directory
};

struct PartTable {
    std::array<PartRecord, MAX_PARTS> rows;
    int32_t JobPartCount = 0;  // known total of parts; 0 while not known
    int current = 0;           // the row of the part being worked on
};

void ClearPartTable(PartTable& table);
// The path of a row's file.
std::string PartFilePath(const PartRecord& row);
// Deletes the file of every row that names one (a file or a link, never a device or a directory)
// and clears the names; failures are not reported.
void DeletePartFiles(PartTable& table);
// 0 for 1..99; otherwise shows "Part %d Must be Between 1 and %d." and returns 1.
int CheckPartNumber(UserPort& ui, int part);

}  // namespace mandrel
