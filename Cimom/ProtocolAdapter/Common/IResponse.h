// The handle through which one producer takes part in an operation's
// response: what the object manager's handler holds and finally closes.
//
// IMultiResponse<T> adds the producer's operations; MultiResponseWriter<T>
// implements both.
#pragma once

namespace qora {

class IResponse {
public:
    // Ends the producer's participation: once every producer has closed (and
    // the handler has allowed completion) the consumer learns that no more
    // results can come. Closing twice does nothing more.
    virtual void Close() = 0;
    virtual ~IResponse() = default;
};

}  // namespace qora
