// Builds against the installed headers and library and runs one operation
// through the processing driver without a handler context.
#include "Cimom/ProtocolAdapter/Common/AdapterUtils.h"
#include "Cimom/ProtocolAdapter/Common/KivoOperationBase.h"
#include "Cimom/ProtocolAdapter/Common/KivoURL.h"
#include "KivoUtilities/KVOGenericHTTPOStream.h"
#include "KivoUtilities/KVOLog.h"
#include "KivoUtilities/KVOMemorySocket.h"

#include <cstdio>

namespace {

class Probe : public KivoOperationBase {
public:
    Probe() : KivoOperationBase(nullptr) { setOperationName("Probe"); }
    bool isValid() const override { return true; }
    void writeResponse(KVOGenericHTTPOStream&) override { written = true; }
    bool written = false;

protected:
    void callHandler(KVOSmrPtr<KivoOperationBase> const&) override {}
};

}  // namespace

int main() {
    int records = 0;
    KVOLog::setSink([&](KVOLogRecord const&) { ++records; });
    KivoURL url("http", "localhost", "root/cimv2", 5988);
    KVOSmrPtr<KivoOperationBase> op(new Probe);
    op->setErrorCode(0);
    KVOMemorySocket socket;
    KVOGenericHTTPOStream ostr(socket);
    op->process(ostr, op);
    bool ok = static_cast<Probe&>(*op).written && op->getErrorCode() == 1 && records == 3 && url.getHostPort() == 5988;
    std::printf("consumer: %s\n", ok ? "ok" : "FAILED");
    return ok ? 0 : 1;
}
