#include "platform/SecretRoom.h"

#include <sys/mman.h>

#include <array>
#include <cstring>
#include <memory>
#include <vector>

namespace {

/// The pieces that are free. The room itself stays for as long as the process.
std::vector<char*>& freePieces() {
    // Never freed: secrets may be given back until the very end.
    static auto& free = *[] {
        auto owner = std::make_unique<std::vector<char*>>();
        auto& all = *owner;
        constexpr auto size = SecretRoom::pieces * SecretRoom::pieceSize;
        auto* const room = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (room == MAP_FAILED)
            return owner.release();
        // Where the system refuses, the room is as good as any other memory.
        mlock(room, size);
        madvise(room, size, MADV_DONTDUMP);
        madvise(room, size, MADV_WIPEONFORK);
        all.reserve(SecretRoom::pieces);
        for (std::size_t piece = 0; piece < SecretRoom::pieces; ++piece)
            all.push_back(static_cast<char*>(room) + piece * SecretRoom::pieceSize);
        return owner.release();
    }();
    return free;
}

bool isInRoom(const char* memory) {
    static const char* const first = [] {
        const auto& free = freePieces();
        return free.empty() ? nullptr : free.front();
    }();
    return first && memory >= first && memory < first + SecretRoom::pieces * SecretRoom::pieceSize;
}

} // namespace

char* SecretRoom::take(std::size_t size) {
    auto& free = freePieces();
    isInRoom(nullptr); // while all of them are there
    if (size > pieceSize || free.empty())
        return new char[size];
    auto* const piece = free.back();
    free.pop_back();
    return piece;
}

void SecretRoom::giveBack(char* memory, std::size_t size) {
    explicit_bzero(memory, size);
    if (isInRoom(memory))
        freePieces().push_back(memory);
    else
        delete[] memory;
}

void SecretRoom::wipeStack() {
    std::array<char, 8192> room;
    explicit_bzero(room.data(), room.size());
}
