// Whole groups of four characters to three bytes and back, for the UU, XX, Base64 and BinHex
// alphabets: the inner loops of the encoders and decoders. Each operation has a scalar reference
// and SSSE3 and AVX2 paths; the path is chosen once from what the processor can run, and can be
// set lower, so that tests and the fuzz run can hold every vector path against the scalar one.
// The AVX-512 path (with VBMI2's byte compression and 512-bit carry-less multiplication) takes
// the groups as AVX2 does and has kernels of its own for yEnc and the CRC-32.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "codec/decode_tables.h"

namespace mandrel {

enum class KernelPath { Scalar = 0, Ssse3 = 1, Avx2 = 2, Avx512 = 3 };

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

// Runs of UU and XX lines are mostly lines of one shape: a length character standing for whole
// groups, the groups, and a line end (CR or LF; an LF right after a CR belongs to no line and is
// skipped before the next). This takes such lines many at a time on a vector path, from `at`
// on, for as long as each one has that shape, is sound, leaves at least `reach` bytes of text
// from its start and `room` bytes of out free. A line that differs in any way stops it, for the
// line-by-line way to take. Nothing is taken on the scalar path or for another table.
struct SameLines {
    unsigned char lengthCharacter = 0;
    std::size_t groups = 0;  // the groups the length character stands for, 1 to 21
    std::size_t reach = 0;
    std::size_t room = 0;
};
struct SameLinesState {
    std::size_t at = 0;        // where the next line, or the LF before it, starts
    std::size_t produced = 0;  // bytes written to out so far
    int previous = -1;         // the byte before `at`
};
// True when the active path takes such lines for the table.
bool HasSameLinesKernel(const DecodeTable& table);
// The lines taken, at most mostLines; the state is moved past them.
std::size_t DecodeSameLines(const DecodeTable& table, const SameLines& shape,
                            std::span<const unsigned char> text, std::span<unsigned char> out,
                            std::size_t mostLines, SameLinesState& state);

// Encodes groups * 3 bytes at `in` as groups * 4 characters of `alphabet` (the 64-character UU,
// XX, Base64 or BinHex text: the same view as in alphabets.h) at `out`. Reads and writes nothing
// beyond.
void EncodeGroups(std::string_view alphabet, const unsigned char* in, std::size_t groups,
                  char* out);
void EncodeGroupsScalar(std::string_view alphabet, const unsigned char* in, std::size_t groups,
                        char* out);

}  // namespace mandrel
