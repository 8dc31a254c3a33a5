// The parts of a multi-part file are decoded into one file beside the output, each at the place
// the joined file will hold it as far as that can be told when the part begins: right after the
// part before it when that part is in, else where parts of the size already seen put it. The
// join then moves the few parts that had to go to files of their own into their places and
// renames the file, instead of copying every byte once more. A part only goes where nothing lies
// beyond it, so however long it turns out it overwrites no other part; a part placed where the
// sizes did not bear out sends the join back to copying, from this file, in part order.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "core/part_table.h"

namespace mandrel {

class PartAssembly {
public:
    PartAssembly() = default;
    PartAssembly(const PartAssembly&) = delete;
    PartAssembly& operator=(const PartAssembly&) = delete;
    PartAssembly(PartAssembly&& other) noexcept;
    PartAssembly& operator=(PartAssembly&& other) noexcept;
    ~PartAssembly();

    // Makes the file, hidden, in `directory` ("" the current one) unless there is one already;
    // false when none can be made there.
    bool Begin(const std::string& directory);
    bool Active() const { return !path_.empty(); }
    const std::string& Path() const { return path_; }

    // The offset for part `part` of `total`, or -1 when it must go to a file of its own.
    int64_t PlaceFor(int part, int total) const;
    // Part `part` is written from `offset` on (-1: to a file of its own).
    void Started(int part, int64_t offset);
    // ...and came to `length` bytes.
    void Finished(int part, int64_t length);
    // A part begun again: what it had written is no longer its.
    void Forget(int part);
    // True when the file holds part `part`.
    bool Holds(int part) const;
    int64_t OffsetOf(int part) const;
    int64_t LengthOf(int part) const;
    // True when each of parts 1 to total that the file holds starts where the lengths of the
    // parts before it say, so that filling in the others makes the joined file.
    bool InPlace(int total) const;
    // The offset at which part `part` starts in the joined file.
    int64_t JoinedOffset(int part) const;

    // Removes the file and forgets every part.
    void Discard();
    // The file becomes `path`, cut to `size` bytes; false (and nothing changed but the size)
    // when the system cannot rename it there.
    bool BecomeFile(const std::string& path, int64_t size);

private:
    struct Placed {
        int64_t offset = -1;  // -1: not in the file
        int64_t length = -1;  // -1: not finished
    };
    const Placed& At(int part) const;
    Placed& At(int part);
    // The length of a finished part other than the last, which the parts before the last share.
    int64_t Stride(int total) const;

    std::string path_;
    std::array<Placed, MAX_PARTS> parts_{};
};

}  // namespace mandrel
