// kivo-cimxml-server: the reference CIM-XML server. The object manager with
// its default model over a repository file (or in memory), the CIM-XML
// adapter, and the HTTP listener that hands it every request.
//
// Start-up: settings (INI file and flags; ServerConfig.h), the repository
// file opened (repository/RepositoryFile.h), the object manager started
// (STARTED once the model is loaded: on the first start of a file, or with
// --repository :memory:, the schema's MOF compiled in order, then the
// model's code parts, DefaultModel.h; on later starts the stored schema read
// back, repository/PersistentModel.h), the listener bound; then one line
// "listening on ADDRESS:PORT" on standard output.
//
// Exit status: 0 after a stop (or a command that did its work); 1 another
// start-up failure (the listener, TLS files); 2 a wrong command line or
// configuration; 3 a schema file that does not load (the compiler's
// "file:line:column: message" on standard error); 4 a repository file that
// cannot be opened, is damaged or cannot be written (RepositoryError's
// message, naming the file and how to recover), or a repository command
// (--update-schema, --export, --import) that was refused.
//
// The commands open the repository, do their work, print what they did and
// exit without listening. SIGTERM or SIGINT stops
// it: the listener stops accepting and closes idle connections, the object
// manager goes SHUTTING_DOWN, responses under way finish (those still running
// after ShutdownTimeout have their connections cut, so their writes fail), the
// object manager goes SHUT_DOWN, and the process exits with status 0. Should
// anything still be running a second after the shutdown deadline (producers
// of abandoned operations), the process exits (status 0) without it.

#include "AuthGate.h"
#include "CIMXMLAdapter.h"
#include "CIMXMLExecuteQuery.h"
#include "HTTPListener.h"
#include "TLS.h"
#include "ServerConfig.h"

#include "objectmanager/HandlerContext.h"
#include "repository/PersistentModel.h"

#include "KivoUtilities/KVOLog.h"
#include "KivoUtilities/KivoBaseException.h"

#include <pthread.h>
#include <sys/resource.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <memory>
#include <mutex>
#include <thread>

namespace {

// The protection space named in every 401 challenge.
char const* const kRealm = "kivo-cimxml-server";
// Descriptors beyond the connections: listener, epoll, files, threads' own.
constexpr rlim_t kSpareDescriptors = 128;
// How long after the shutdown deadline the process waits for the object
// manager's producers of abandoned operations before it exits without them.
constexpr std::chrono::milliseconds kProducerGrace{1000};
// The exit status when a schema file does not load.
constexpr int kSchemaExitStatus = 3;
// The exit status when the repository file cannot be used, or a repository
// command is refused.
constexpr int kRepositoryExitStatus = 4;

// Says why the start failed and answers its exit status, for the failures
// of the schema and of the repository; 0 for any other failure.
int startFailure(char const* program, std::exception const& e) {
    if (dynamic_cast<kivo::om::ModelLoadError const*>(&e)) {
        std::fprintf(stderr, "%s: the schema did not load: %s\n", program, e.what());
        return kSchemaExitStatus;
    }
    if (dynamic_cast<kivo::repo::RepositoryError const*>(&e) || dynamic_cast<kivo::repo::CommandError const*>(&e)) {
        std::fprintf(stderr, "%s: %s\n", program, e.what());
        return kRepositoryExitStatus;
    }
    return 0;
}

// Runs --update-schema, --export or --import on the repository; the exit
// status.
int runCommand(char const* program, refserver::ParsedCommandLine const& cl, kivo::repo::PersistentModel& model,
               kivo::om::ModelSettings const& settings) {
    using Action = refserver::ParsedCommandLine::Action;
    if (cl.action == Action::Import) {
        std::printf("%s\n", kivo::repo::importRepository(model, cl.commandFile, settings.schemaPath).c_str());
        return 0;
    }
    kivo::om::ObjectManager om(model.store());
    model.load(om, settings);
    if (cl.action == Action::Export) {
        if (cl.commandFile == "-") {
            kivo::repo::exportRepository(om, *model.store(), std::cout, cl.exportNamespace);
            std::cout.flush();
            return std::cout ? 0 : 1;
        }
        std::ofstream out(cl.commandFile, std::ios::binary | std::ios::trunc);
        if (out) kivo::repo::exportRepository(om, *model.store(), out, cl.exportNamespace);
        out.close();
        if (!out) {
            std::fprintf(stderr, "%s: cannot write %s\n", program, cl.commandFile.c_str());
            return 1;
        }
        std::printf("exported %s to %s\n", cl.exportNamespace.empty() ? "the repository" : cl.exportNamespace.c_str(),
                    cl.commandFile.c_str());
        return 0;
    }
    kivo::repo::SchemaUpdate const update = kivo::repo::updateSchema(om, model, settings);
    if (!update.refused.empty()) {
        std::fprintf(stderr, "%s: --update-schema refused: %s\n", program, update.refused.c_str());
        return kRepositoryExitStatus;
    }
    for (std::string const& change : update.changes) std::printf("%s\n", change.c_str());
    if (update.changes.empty()) std::printf("the repository's schema matches the MOF: nothing to do\n");
    return 0;
}

KivoTraceLog::Severity severityNamed(std::string const& level) {
    if (level == "trace") return KivoTraceLog::KIVO_TRACE;
    if (level == "info") return KivoTraceLog::KIVO_INFORMATION;
    if (level == "error") return KivoTraceLog::KIVO_ERROR;
    if (level == "critical") return KivoTraceLog::KIVO_CRITICAL;
    if (level == "none") return KivoTraceLog::KIVO_NO_SEVERITY;
    return KivoTraceLog::KIVO_WARNING;
}

// Every connection is a descriptor: lift the soft limit towards the hard one
// so that the connection cap, not EMFILE, is what a flood of clients meets.
void raiseDescriptorLimit(int maxConnections) {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    rlim_t const wanted = static_cast<rlim_t>(maxConnections) + 2 * kSpareDescriptors;
    if (limit.rlim_cur >= wanted) return;
    limit.rlim_cur = limit.rlim_max == RLIM_INFINITY ? wanted : std::min(wanted, limit.rlim_max);
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

int main(int argc, char** argv) {
    refserver::ParsedCommandLine cl = refserver::parseCommandLine(argc, argv);
    if (cl.action == refserver::ParsedCommandLine::Help) {
        std::fputs(refserver::usage(argv[0]).c_str(), stdout);
        return 0;
    }
    if (cl.action == refserver::ParsedCommandLine::Error) {
        std::fprintf(stderr, "%s: %s (see --help)\n", argv[0], cl.error.c_str());
        return 2;
    }
    refserver::ServerSettings const& settings = cl.settings;
    KVOLog::setStderrThreshold(severityNamed(settings.logLevel));

    // Every thread started from here on inherits the blocked signals; only
    // the signal thread takes them, with sigwait.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    kivo::om::ModelSettings model;
    model.scaleInstances = static_cast<unsigned>(settings.scaleInstances);
    if (!settings.schema.empty()) {
        model.schema.clear();
        for (auto const& [nameSpace, file] : settings.schema) model.schema.push_back({nameSpace, file});
    }
    if (!settings.schemaPath.empty()) model.schemaPath = settings.schemaPath;
    kivo::om::Options omOptions;
    omOptions.store.maxInstancesPerClass = static_cast<std::size_t>(settings.maxInstancesPerClass);
    omOptions.store.maxBytes = static_cast<std::uint64_t>(settings.maxInstanceMiB) << 20;
    omOptions.enumerations.maxOpenPerPrincipal = static_cast<std::size_t>(settings.maxEnumerationsPerPrincipal);
    omOptions.enumerations.producerThreads = static_cast<std::size_t>(settings.enumerationThreads);
    omOptions.streamThreads = static_cast<std::size_t>(settings.streamThreads);
    // The repository file; none with :memory:, where the in-memory store
    // and the default model are used as they are.
    std::unique_ptr<kivo::repo::PersistentModel> persistent;
    using Action = refserver::ParsedCommandLine::Action;
    try {
        if (settings.repositoryFile != ":memory:") {
            kivo::repo::RepositorySettings repositorySettings;
            repositorySettings.file = settings.repositoryFile;
            repositorySettings.fullSync = settings.repositoryFullSync;
            persistent = std::make_unique<kivo::repo::PersistentModel>(kivo::repo::RepositoryFile::open(repositorySettings),
                                                                       omOptions.store);
            omOptions.instanceStore = persistent->store();
        }
        if (cl.action != Action::Run) return runCommand(argv[0], cl, *persistent, model);
    } catch (KivoBaseException const& e) {
        std::fprintf(stderr, "%s: %s\n", argv[0], e.getMessage().str().c_str());
        return kRepositoryExitStatus;
    } catch (std::exception const& e) {
        if (int const status = startFailure(argv[0], e)) return status;
        throw;
    }
    kivo::om::HandlerContext objectManager(model, omOptions);
    auto const loadStart = std::chrono::steady_clock::now();
    try {
        if (persistent) objectManager.start([&](kivo::om::ObjectManager& om) { persistent->load(om, model); });
        else objectManager.start();
    } catch (std::exception const& e) {
        if (int const status = startFailure(argv[0], e)) return status;
        std::fprintf(stderr, "%s: the object manager did not start: %s\n", argv[0], e.what());
        return 1;
    }

    KVOLog::log("kivo-cimxml-server",
                "model loaded in " +
                    KVOString::itoa(std::chrono::duration_cast<std::chrono::milliseconds>(
                                        std::chrono::steady_clock::now() - loadStart)
                                        .count()) +
                    " ms",
                KivoTraceLog::KIVO_INFORMATION, 0, 0, KVOLog::CIMOMLOG);

    // ExecQuery with a select list is answered as rows, read from the model.
    cimxmlpa::setQueryRowSource([&objectManager](KVOString const& nameSpace, KVOString const& language,
                                                 KVOString const& query) {
        kivo::om::QueryRows q = objectManager.objectManager().queryRows(nameSpace, language, query);
        return cimxmlpa::QueryRowSet{q.className, q.columns, q.rows};
    });

    cimxmlpa::CIMXMLAdapter::Options adapterOptions;
    adapterOptions.operations.streamBound = settings.streamBound;
    adapterOptions.operations.request.maxNesting = static_cast<unsigned>(settings.maxReferenceNesting);
    cimxmlpa::CIMXMLAdapter adapter(objectManager, adapterOptions);
    refserver::HTTPListener::Options listenerOptions;
    listenerOptions.address = settings.address;
    listenerOptions.port = settings.port;
    listenerOptions.threads = settings.threads;
    listenerOptions.maxConnections = settings.maxConnections;
    listenerOptions.maxConnectionsPerPeer = settings.maxConnectionsPerPeer;
    listenerOptions.requestTimeoutMs = settings.readTimeoutSeconds * 1000;
    listenerOptions.idleTimeoutMs = settings.idleTimeoutSeconds * 1000;
    listenerOptions.sendTimeoutMs = settings.sendTimeoutSeconds * 1000;
    listenerOptions.shutdownTimeoutMs = settings.shutdownTimeoutSeconds * 1000;
    listenerOptions.bodyBudgetBytes = static_cast<std::size_t>(settings.bodyBudgetMiB) << 20;
    // HTTPS: the TLS context is built (files read, key checked) before the
    // ports are opened, so that a bad certificate stops the start.
    listenerOptions.plain = settings.http;
    if (settings.https) {
        refserver::TLSSettings tls;
        tls.certificateChainFile = settings.tlsCertificate;
        tls.privateKeyFile = settings.tlsPrivateKey;
        tls.clientCAFile = settings.tlsClientCA;
        tls.certificateUsers = settings.certificateUsers;
        try {
            listenerOptions.tls = std::make_shared<refserver::TLSContext const>(tls);
        } catch (std::exception const& e) {
            std::fprintf(stderr, "%s: %s\n", argv[0], e.what());
            objectManager.shutdown();
            return 1;
        }
        listenerOptions.tlsPort = settings.httpsPort;
        listenerOptions.handshakeTimeoutMs = settings.tlsHandshakeTimeoutSeconds * 1000;
    }
    raiseDescriptorLimit(settings.maxConnections);
    // With authentication on, every request passes the gate on the front
    // end's event loop before it takes a thread; the adapter gets the user.
    std::unique_ptr<refserver::AuthGate> authGate;
    refserver::RequestGate gate;
    if (settings.authentication == "basic") {
        refserver::AuthSettings authSettings;
        authSettings.realm = kRealm;
        authSettings.firstDelay = std::chrono::milliseconds(settings.authFirstDelayMs);
        authSettings.maxDelay = std::chrono::milliseconds(std::max(settings.authMaxDelayMs, settings.authFirstDelayMs));
        authGate = std::make_unique<refserver::AuthGate>(settings.users, authSettings);
        gate = [&authGate](KVOHTTPRequest const& head, refserver::ConnectionInfo const& c) {
            return refserver::toAdmission<refserver::Admission>(
                authGate->check(refserver::authRequestFor(head, c.peerAddress, c.id)));
        };
    }
    refserver::HTTPListener listener(
        listenerOptions,
        [&adapter](KVOHTTPRequest& request, KVOGenericHTTPIStream& istr, KVOGenericHTTPOStream& ostr,
                   refserver::ConnectionInfo const& c) {
            return adapter.processRequest(request, istr, ostr,
                                          {c.localAddress, c.localPort, c.peerAddress, c.peerPort, c.principal});
        },
        gate);
    try {
        listener.open();
    } catch (std::exception const& e) {
        std::fprintf(stderr, "%s: %s\n", argv[0], e.what());
        objectManager.shutdown();
        return 1;
    }
    PortInfo ports;
    if (listener.plainPort() >= 0) ports.httpPort = listener.plainPort();
    if (listener.tlsPort() >= 0) ports.httpsPort = listener.tlsPort();
    objectManager.setPortInfo(ports);

    std::atomic<bool> running{true};
    std::atomic<bool> woken{false};  // the signal thread has left sigwait
    auto summary = [&](char const* note) {
        std::fprintf(stderr, "%s: stopped after %lu connections (%lu refused: too many) and %lu requests%s\n", argv[0],
                     listener.connectionsAccepted(), listener.connectionsRefused(), listener.requestsStarted(), note);
    };
    std::thread signalThread([&] {
        int sig = 0;
        sigwait(&stopSignals, &sig);
        woken.store(true);
        if (running.load()) {
            std::fprintf(stderr, "%s: signal %d, shutting down\n", argv[0], sig);
        }
        // The process ends by this time whatever the clients and the
        // operations do: responses are cut at the shutdown deadline, and
        // producers of abandoned operations get a short grace.
        auto const hardStop = std::chrono::steady_clock::now() +
                              std::chrono::seconds(settings.shutdownTimeoutSeconds) + kProducerGrace;
        std::mutex downMutex;
        std::condition_variable downChanged;
        bool down = false;  // guarded by downMutex: the object manager has shut down
        std::thread watchdog([&] {
            std::unique_lock<std::mutex> lock(downMutex);
            if (downChanged.wait_until(lock, hardStop, [&] { return down; })) return;
            summary("; operations still running were abandoned");
            std::fflush(nullptr);
            std::_Exit(0);
        });
        // No new connections, then SHUTTING_DOWN; shutdown() returns once the
        // requests under way have finished.
        listener.stop();
        objectManager.shutdown();
        {
            std::lock_guard<std::mutex> lock(downMutex);
            down = true;
            downChanged.notify_all();
        }
        watchdog.join();
    });

    if (listener.plainPort() >= 0) std::printf("listening on %s:%d\n", settings.address.c_str(), listener.plainPort());
    if (listener.tlsPort() >= 0) {
        std::printf("listening on %s:%d (https)\n", settings.address.c_str(), listener.tlsPort());
    }
    std::fflush(stdout);
    listener.run();

    // run() returns after stop(); should it have ended for another reason,
    // wake the signal thread so that the shutdown takes the same path.
    // Only a thread still in sigwait is signalled, never one that may have
    // finished already.
    running.store(false);
    if (!woken.load()) pthread_kill(signalThread.native_handle(), SIGTERM);
    signalThread.join();
    summary("");
    return 0;
}
