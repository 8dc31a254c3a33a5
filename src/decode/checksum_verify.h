// Compares the checksums and sizes that the text carried with what was decoded.
#pragma once

#include <string>
#include <vector>

namespace mandrel {

struct DecodeContext;

// The number of differences. With a list, one line per difference is added to it; without
// one, the output file may be re-read to recompute its "sum -r". Sets checksumDataPresent
// whenever an expected figure other than the output size was given.
int VerifyChecksums(DecodeContext& app, std::vector<std::string>* list);
// The "Checksum Error Details" dialog: the caption, the input and the differences.
void ShowChecksumDetails(DecodeContext& app);

}  // namespace mandrel
