// A buffer that detects any access outside it.
#pragma once

#include <sys/mman.h>

#include <algorithm>
#include <cstddef>

class Guarded {
public:
    static constexpr size_t kRoom = 1 << 14;  // the largest buffer; a multiple of the page size anywhere
    static constexpr char kFill = '\xA5';

    Guarded() { mprotect(end_, kRoom, PROT_NONE); }
    ~Guarded() { munmap(memory_, 2 * kRoom); }

    // A buffer of `size` bytes, followed by an unreadable page. It and the bytes in front of it are filled.
    char* Fresh(size_t size) {
        buffer_ = end_ - size;
        guard_ = std::max(memory_, buffer_ - 64);
        std::fill(guard_, end_, kFill);
        return buffer_;
    }

    // Whether nothing was written but the first `count` bytes of the buffer.
    bool OnlyFirst(size_t count) const {
        const auto isFilled = [](char byte) { return byte == kFill; };
        return std::all_of(guard_, buffer_, isFilled) && std::all_of(buffer_ + count, end_, isFilled);
    }

private:
    char* const memory_ = static_cast<char*>(
        mmap(nullptr, 2 * kRoom, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    char* const end_ = memory_ + kRoom;
    char* buffer_ = end_;
    char* guard_ = end_;
};
