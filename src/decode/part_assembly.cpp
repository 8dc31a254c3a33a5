#include "decode/part_assembly.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "core/text_util.h"

namespace mandrel {

PartAssembly::PartAssembly(PartAssembly&& other) noexcept
    : path_(std::exchange(other.path_, {})), parts_(other.parts_) {}

PartAssembly& PartAssembly::operator=(PartAssembly&& other) noexcept {
    if (this != &other) {
        Discard();
        path_ = std::exchange(other.path_, {});
        parts_ = other.parts_;
    }
    return *this;
}

PartAssembly::~PartAssembly() {
    Discard();
}

bool PartAssembly::Begin(const std::string& directory) {
    if (!Active()) {
        parts_.fill(Placed{});
        // Hidden, beside the output, so that the join can rename it there; none when that fails.
        CreateUniqueFile(directory, ".mdr", path_);
    }
    return Active();
}

const PartAssembly::Placed& PartAssembly::At(int part) const {
    return parts_[static_cast<std::size_t>(std::clamp(part, 1, MAX_PARTS) - 1)];
}

PartAssembly::Placed& PartAssembly::At(int part) {
    return parts_[static_cast<std::size_t>(std::clamp(part, 1, MAX_PARTS) - 1)];
}

int64_t PartAssembly::Stride(int total) const {
    for (int part = 1; part < std::min(total, MAX_PARTS + 1); ++part) {
        if (At(part).length > 0) {
            return At(part).length;
        }
    }
    return -1;
}

int64_t PartAssembly::PlaceFor(int part, int total) const {
    if (!Active() || part < 1 || part > MAX_PARTS) {
        return -1;
    }
    int64_t beyond = 0;  // past every part the file holds
    for (const Placed& placed : parts_) {
        if (placed.offset >= 0) {
            beyond = std::max(beyond, placed.offset + std::max<int64_t>(placed.length, 0));
        }
    }
    // From the nearest part before it that the file holds, or from the start.
    int64_t offset = 0;
    int from = 1;
    for (int before = part - 1; before >= 1; --before) {
        if (At(before).offset >= 0 && At(before).length >= 0) {
            offset = At(before).offset + At(before).length;
            from = before + 1;
            break;
        }
    }
    if (from < part) {
        const int64_t stride = Stride(total);
        if (stride <= 0) {
            return -1;
        }
        offset += (part - from) * stride;
    }
    return offset >= beyond ? offset : -1;
}

void PartAssembly::Started(int part, int64_t offset) {
    At(part) = Placed{offset, -1};
}

void PartAssembly::Finished(int part, int64_t length) {
    At(part).length = length;
}

void PartAssembly::Forget(int part) {
    At(part) = Placed{};
}

bool PartAssembly::Holds(int part) const {
    return At(part).offset >= 0;
}

int64_t PartAssembly::OffsetOf(int part) const {
    return At(part).offset;
}

int64_t PartAssembly::LengthOf(int part) const {
    return At(part).length;
}

int64_t PartAssembly::JoinedOffset(int part) const {
    int64_t offset = 0;
    for (int before = 1; before < part; ++before) {
        offset += std::max<int64_t>(At(before).length, 0);
    }
    return offset;
}

bool PartAssembly::InPlace(int total) const {
    if (!Active() || total > MAX_PARTS) {
        return false;
    }
    int64_t offset = 0;
    for (int part = 1; part <= total; ++part) {
        const Placed& placed = At(part);
        if (placed.length < 0 || (placed.offset >= 0 && placed.offset != offset)) {
            return false;
        }
        offset += placed.length;
    }
    return true;
}

void PartAssembly::Discard() {
    if (Active()) {
        RemoveOutputFile(path_);
        path_.clear();
    }
    parts_.fill(Placed{});
}

bool PartAssembly::BecomeFile(const std::string& path, int64_t size) {
    std::error_code ec;
    std::filesystem::resize_file(path_, static_cast<std::uintmax_t>(size), ec);
    if (ec) {
        return false;
    }
    std::filesystem::rename(path_, path, ec);
    if (ec) {
        return false;
    }
    path_.clear();
    parts_.fill(Placed{});
    return true;
}

}  // namespace mandrel
