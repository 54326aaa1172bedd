#include "KivoUtilities/KVOMemorySocket.h"

#include <algorithm>
#include <cstring>
#include <utility>

KVOMemorySocket::KVOMemorySocket(std::string input, Peer peer, std::size_t maxPerReceive)
    : _owned(std::move(input)), _input(_owned), _peer(peer), _maxPerReceive(maxPerReceive) {}

std::size_t KVOMemorySocket::receive(char* dst, std::size_t max) {
    ++_receiveCalls;
    std::size_t n = std::min(max, _input.size() - _pos);
    if (_maxPerReceive != 0) n = std::min(n, _maxPerReceive);
    if (n != 0) std::memcpy(dst, _input.data() + _pos, n);
    _pos += n;
    return n;
}

void KVOMemorySocket::send(char const* src, std::size_t n) { _output.append(src, n); }

void KVOMemorySocket::borrowInput(std::string_view bytes) {
    _owned.clear();
    _input = bytes;
    _pos = 0;
}
