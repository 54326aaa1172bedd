// The object manager as the adapters' common layer sees it: its lifecycle
// state, its count of requests in progress, and the way to its operation
// handler.
//
// Implemented by the object manager (or a test double); the library calls only
// getCurrentState, registerRequest, deRegisterRequest and getOperationHandler.
// Shared by every adapter thread, so implementations must be thread-safe.
#pragma once

#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"

class IKivoOperationHandler;
#include "KivoUtilities/IKivoClass.h"

// The object manager's server interface; nothing in the adapters' common
// layer calls it.
class IQORAServer {
public:
    virtual ~IQORAServer() = default;
};

// The ports the object manager listens on.
struct PortInfo {
    int httpPort = 0;
    int httpsPort = 0;
};

// The object manager's indication manager; nothing in the adapters' common
// layer calls it.
class IIndicationManager {
public:
    virtual ~IIndicationManager() = default;
};

class IKivoOperationHandlerContext {
public:
    enum State {
        INITIALIZING = 0,
        STARTING = 1,
        POST_STARTING = 2,
        STARTED = 3,
        SHUTTING_DOWN = 4,
        SHUT_DOWN = 5,
        UNDEFINED = 9999,
    };

    // The object manager's current state; it serves requests from outside
    // only in STARTED.
    virtual State getCurrentState() = 0;
    // Counts one more request in progress.
    virtual void registerRequest() = 0;
    // Takes a request off that count.
    virtual void deRegisterRequest() = 0;
    virtual bool logRequest() = 0;
    // The handler that executes operations; usable for as long as operations
    // are processed.
    virtual IKivoOperationHandler& getOperationHandler() = 0;
    virtual IQORAServer& getQORAServer() const = 0;
    virtual KVOString getLogDirectory() = 0;
    virtual bool isMatchForInternalOrSystemDigest(KVOString const* digest) = 0;
    virtual PortInfo const& getPortInfo() const = 0;
    // Class lookup: namespace first, then class name.
    virtual KVOSmrPtr<IKivoClass> getClass(KVOString const& nameSpace, KVOString const& className) = 0;
    virtual KVOSmrPtr<IIndicationManager> getIndicationManager() = 0;
    virtual ~IKivoOperationHandlerContext() = default;
};
