// A KVOSocket over memory: receives from a byte string given up front and
// keeps everything sent, so tests, fuzz targets and benchmarks can run the
// HTTP classes and the request intake without a network.
//
// The peer can be declared on loopback or remote. A limit on the bytes handed
// out per receive (1 delivers the input byte by byte) reproduces a peer whose
// data arrive in small pieces. End of input reads as end of stream.
#pragma once

#include "KivoUtilities/KVOSocket.h"

#include <string>
#include <string_view>

class KVOMemorySocket : public KVOSocket {
public:
    enum Peer { Remote, Loopback };

    // `maxPerReceive` 0 means no limit beyond the reader's own.
    explicit KVOMemorySocket(std::string input = {}, Peer peer = Remote, std::size_t maxPerReceive = 0);

    std::size_t receive(char* dst, std::size_t max) override;
    void send(char const* src, std::size_t n) override;
    bool isLoopback() const override { return _peer == Loopback; }
    void setReceiveTimeout(int milliseconds) override { _receiveTimeout = milliseconds; }

    // Replaces the input by bytes the caller keeps alive for the socket's
    // lifetime (no copy is made); reading starts at their beginning.
    void borrowInput(std::string_view bytes);

    // Everything sent so far.
    std::string const& output() const { return _output; }
    void clearOutput() { _output.clear(); }
    // Input bytes not yet handed to a reader.
    std::size_t unreceived() const { return _input.size() - _pos; }
    std::size_t receiveCalls() const { return _receiveCalls; }
    int getReceiveTimeout() const { return _receiveTimeout; }

private:
    std::string _owned;
    std::string_view _input;
    std::size_t _pos = 0;
    Peer _peer;
    std::size_t _maxPerReceive;
    std::size_t _receiveCalls = 0;
    int _receiveTimeout = 0;
    std::string _output;
};
