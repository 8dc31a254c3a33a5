// Whole groups of four characters to three bytes and back, for the UU, XX, Base64 and BinHex
// alphabets: the inner loops of the encoders and decoders. Each operation has a scalar reference
// and SSSE3 and AVX2 paths; the path is chosen once from what the processor can run, and can be
// set lower, so that tests and the fuzz run can hold every vector path against the scalar one.
#pragma once

#include <cstddef>
#include <string_view>

#include "codec/decode_tables.h"

namespace mandrel {

enum class KernelPath { Scalar = 0, Ssse3 = 1, Avx2 = 2 };

// The widest path this processor runs.
KernelPath BestKernelPath();
// The path the kernels take now: the best one unless UseKernelPath chose another.
KernelPath ActiveKernelPath();
// Takes `path`, or the best one when the processor cannot run it; returns the path now taken.
// A process-wide choice, made before the work starts (a test, a benchmark, the fuzz run).
KernelPath UseKernelPath(KernelPath path);
std::string_view KernelPathName(KernelPath path);

// True for the tables the vector paths know (UU, XX, Base64, BinHex); any other always goes
// the scalar way.
bool HasVectorGroups(const DecodeTable& table);

// Decodes groups * 4 characters at `in` into groups * 3 bytes at `out`, reading and writing
// nothing beyond. False when a character is outside the table; out then holds garbage.
bool DecodeGroups(const DecodeTable& table, const unsigned char* in, std::size_t groups,
                  unsigned char* out);
// The same on the scalar path whatever path is active: the reference the others are held to.
bool DecodeGroupsScalar(const DecodeTable& table, const unsigned char* in, std::size_t groups,
                        unsigned char* out);

// Encodes groups * 3 bytes at `in` as groups * 4 characters of `alphabet` (the 64-character UU,
// XX, Base64 or BinHex text: the same view as in alphabets.h) at `out`. Reads and writes nothing
// beyond.
void EncodeGroups(std::string_view alphabet, const unsigned char* in, std::size_t groups,
                  char* out);
void EncodeGroupsScalar(std::string_view alphabet, const unsigned char* in, std::size_t groups,
                        char* out);

}  // namespace mandrel
