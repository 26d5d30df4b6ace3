// Arrival: a reply body that is still coming in, written by another thread
// into storage of its announced size, so that it can be read while the rest
// of it arrives.
#pragma once

#include <cstddef>

class Arrival {
public:
    struct Progress {
        size_t in;     // bytes [0, in) are in place and do not change again
        bool done;     // nothing more will come
    };

    // The storage: size() bytes, and one more after them. Bytes at or after
    // `in` belong to the writer until the transfer is done.
    virtual char* data() = 0;
    virtual size_t size() const = 0;
    // Blocks until more than `have` bytes are in, or until nothing more will
    // come. A transfer that failed is done with fewer than size() bytes in.
    virtual Progress waitBeyond(size_t have) = 0;
    // The reader reads none of the bytes in [from, to) again: their room
    // may be given back, and the writer may go further ahead. `from` stays
    // the same from call to call; `to` only grows.
    virtual void release(size_t from, size_t to) = 0;

protected:
    ~Arrival() = default;
};
