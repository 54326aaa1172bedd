// The root base class of every operation object: it stores what all
// operations share and runs the operation through the object manager's
// handler (process).
//
// Every operation base of the library derives from it; a concrete adapter
// derives from one of those and supplies isValid and writeResponse. The base
// takes no lock: an operation is filled in and processed on the adapter's
// thread. Multi-result operations keep their status in their thread-safe
// result collection instead (KivoMultiResponseOperationBase).
//
// The error slot has two states: no error (null context, status 0) and error
// (a context with a non-zero code). Nothing returns an operation to the first.
#pragma once

#include "Cimom/KivoOperationHandler.h"
#include "Cimom/ProtocolAdapter/KivoOperation.h"
#include "Cimom/ProtocolAdapter/KivoOperationHandlerContext.h"
#include "CoreServices/CI_Event.h"

class KVOGenericHTTPOStream;

class KivoOperationBase : public virtual IKivoOperation {
public:
    // opHandlerContext is not owned and may be null; process then never calls
    // the handler.
    explicit KivoOperationBase(IKivoOperationHandlerContext* opHandlerContext);
    ~KivoOperationBase() override;

    KVOString getNameSpace() const override;
    KVOString getClassName() const override;
    // setErrorCode(c) keeps the texts of a stored context and replaces its
    // code; without a context, or for c == 0, it stores a context with empty
    // texts and code c (which setErrorContext turns into 1 when c is 0).
    void setErrorCode(int errorCode) override;
    // Stores a copy of the base part of e (a derived exception's dynamic type
    // is not kept); a code of 0 becomes 1.
    void setErrorContext(KivoBaseException const& e) override;
    KVOSmrPtr<qora::security::ISecurityToken> getAuthorization() const override;
    KVOSmrPtr<IKivoOperationContext> getContext() const override;
    void setContext(KVOSmrPtr<IKivoOperationContext> context) override;
    KVOString getOperationName() const override;
    KVOSmrPtr<IQORAClientInfo> getClientInfo() const override;
    // Does nothing here; the multi-result base tells its collection that the
    // consumer is done.
    void signalProcessCompletion() override;
    // Waits on _processingComplete, which nothing in this class signals: a
    // derived class that wants waiters released sets it itself.
    bool waitForProcessCompletion(KVOuint32 seconds) override;
    KVOsint32 getProviderTimeout() const override;

    // Runs the operation: logs, asks isValid and (when a handler context is
    // present and the request is valid) calls the handler through
    // callHandler, turns what the handler throws into the status, writes the
    // response with writeResponse, and signals completion. `op` holds this
    // very object; the handler receives the operation through it. Exceptions
    // of writeResponse pass to the caller (completion is then not signalled).
    virtual void process(KVOGenericHTTPOStream& ostr, KVOSmrPtr<KivoOperationBase> const& op);
    // Supplied by the concrete adapter: may the request go to the handler?
    virtual bool isValid() const = 0;
    // Supplied by the concrete adapter: writes the complete response, the
    // error included.
    virtual void writeResponse(KVOGenericHTTPOStream& ostr) = 0;
    virtual void setNameSpace(KVOString const& nameSpace);
    virtual void setClassName(KVOString const& className);
    // 0 without an error context, else the context's code.
    virtual int getErrorCode() const;
    // Shares the stored context (null without error).
    virtual KVOSmrPtr<KivoBaseException> getErrorContext() const;
    virtual void setAuthorization(KVOSmrPtr<qora::security::ISecurityToken> auth);
    virtual void setOperationName(KVOString const& operationName);
    virtual void setClientInfo(KVOSmrPtr<IQORAClientInfo> const& info);
    // Stored as an unsigned 32-bit value: -1 reads back as -1.
    virtual void setProviderTimeout(KVOsint32 timeout);

protected:
    // Hands the operation to its own entry of the handler (see callHandlerEntry).
    virtual void callHandler(KVOSmrPtr<KivoOperationBase> const& opBase) = 0;

    IKivoOperationHandlerContext* getOperationHandlerContext() const { return operationHandlerContext; }

    // The one mechanism behind every callHandler: converts opBase to the
    // operation's own interface I (sharing the reference count), fetches the
    // handler from the context (not tested for null: process calls
    // callHandler only with a context) and calls `entry` synchronously.
    // Whatever the handler throws passes through; the converted pointer is
    // released either way. An operation base writes its callHandler as
    //     callHandlerEntry(opBase, &IKivoOperationHandler::handleGetClass);
    template <class I>
    void callHandlerEntry(KVOSmrPtr<KivoOperationBase> const& opBase,
                          void (IKivoOperationHandler::*entry)(KVOSmrPtr<I> const&)) {
        KVOSmrPtr<I> op = asInterface<I>(opBase);
        IKivoOperationHandler& handler = getOperationHandlerContext()->getOperationHandler();
        (handler.*entry)(op);
    }

    // opBase seen as the interface I, sharing its reference count (null when
    // opBase is null or not an I).
    template <class I>
    static KVOSmrPtr<I> asInterface(KVOSmrPtr<KivoOperationBase> const& opBase) {
        KVOSmrPtr<I> op;
        ForceCopySmrPtr<I, KivoOperationBase>(op, opBase);
        return op;
    }

    KVOString operationName;
    KVOString className;
    KVOString nameSpace;
    KVOSmrPtr<qora::security::ISecurityToken> authorization;
    KVOSmrPtr<IKivoOperationContext> operationContext;
    KVOuint32 _providerTimeout;
    IKivoOperationHandlerContext* operationHandlerContext;
    KVOSmrPtr<KivoBaseException> exceptionPtr;
    KVOSmrPtr<IQORAClientInfo> _clientInfo;
    CI_ManualEvent _processingComplete;

private:
    KivoOperationBase(KivoOperationBase const&);
    KivoOperationBase& operator=(KivoOperationBase const&);
};
