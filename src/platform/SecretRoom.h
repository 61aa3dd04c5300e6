#pragma once

#include <cstddef>

/// Memory for secrets: it stays out of the swap space and of core dumps, and no child process gets a copy.
/// What is given back has been overwritten. For the main thread.
///
/// There is little of it (a process may lock only so much), in pieces of one size. A longer secret, or one
/// that comes when all pieces are taken, is in ordinary memory.
namespace SecretRoom {

inline constexpr std::size_t pieceSize = 1024; ///< bytes
inline constexpr std::size_t pieces = 64;

char* take(std::size_t size);
/// With the size that it was taken for.
void giveBack(char* memory, std::size_t size);

/// Overwrites what the calls before have left on the stack, which are library calls that held a secret there.
void wipeStack();

} // namespace SecretRoom
