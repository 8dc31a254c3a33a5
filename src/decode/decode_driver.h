// Decodes one input file of encoded text: finds each part's header, decodes its data, takes in
// its trailer and checksum lines, joins the parts, and diagnoses an input that ends short.
#pragma once

#include "core/buf_file.h"

namespace mandrel {

struct DecodeContext;

// input is open (text flags 12) at its start and named by JobInputPath; the driver closes it.
// Returns 0 done, 1 aborted, 2 encode this input instead, -1 unexpected end, -2 given up
// (reported or no questions), -3 output choice cancelled, or the join's result.
int DecodeInput(DecodeContext& app, BufFile input, int ask);

// Closes the input and the output when open (kNoBufFile = none) and deletes the part files.
void CloseDecodeFiles(DecodeContext& app, BufFile input, BufFile output);

}  // namespace mandrel
