// Crash: the server is killed with SIGKILL at random moments while clients
// create, modify and delete instances in a repository file, and restarted on
// the same file each time; what survives every kill is checked against what
// the clients were told.
//
// Each client owns a few instances of a class created over the wire
// (KIVO_CrashItem: a key and four properties) and changes only its own, one
// request at a time, so every instance has one history. Every change carries
// a change number in each property it writes (the numbers and a note text
// built from it), so an instance that holds parts of two changes is seen.
// Each request ends acknowledged (a whole answer without ERROR), refused (a
// whole answer with ERROR; the mix sends some on purpose: a create of an
// instance that exists, a modify naming a property the class lacks, changes
// of an instance that does not exist) or unanswered (the connection died). A
// client stops at its first unanswered request, so it has at most one
// change in doubt. After each restart every instance must be in the state of
// its last acknowledged change or, when a later change was unanswered, in
// the state that change makes; no other instance may exist. The state found
// becomes the known one for the next round.
//
// After the last kill the file, as the kill left it, passes SQLite's full
// integrity check, then the server starts on it once more, still holds the
// same instances and stops cleanly.
//
// The seed is printed; KIVO_CRASH_SEED=N runs the same choices again (the
// kill moments still fall where the scheduler puts them).
#include "E2EHarness.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sqlite3.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using e2e::Connection;
using e2e::HttpResponse;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr char kClass[] = "KIVO_CrashItem";
constexpr int kClients = 4;
constexpr int kInstancesPerClient = 5;
// Kills per run, and the bound on the whole run should the machine be slow.
constexpr int kKills = e2e::kSanitized ? 20 : 24;
constexpr auto kRunLimit = std::chrono::seconds(e2e::kSanitized ? 240 : 90);
// How long the clients work before a kill: uniform in this range.
constexpr int kMinRunMs = e2e::kSanitized ? 100 : 20;
constexpr int kMaxRunMs = e2e::kSanitized ? 900 : 350;

// ---------------------------------------------------------------------------
// The model: the state of one instance, and the requests that change it.

// An instance's state: absent, or its property values as change numbers.
struct State {
    bool present = false;
    unsigned a = 0, b = 0, c = 0, note = 0;

    bool operator==(State const&) const = default;
};

// The note a change writes: its number and padding whose length depends on
// it, so a note from another change differs in text and in length.
std::string noteText(unsigned n) { return "change " + std::to_string(n) + " " + std::string(40 + n % 97, 'x'); }

std::string describe(State const& s) {
    if (!s.present) return "absent";
    return "A=" + std::to_string(s.a) + " B=" + std::to_string(s.b) + " C=" + std::to_string(s.c) +
           " Note=" + std::to_string(s.note);
}

std::string idOf(int client, int slot) { return "c" + std::to_string(client) + "-i" + std::to_string(slot); }

std::string property(char const* name, char const* type, std::string const& value) {
    return std::string("<PROPERTY NAME=\"") + name + "\" TYPE=\"" + type + "\"><VALUE>" + value + "</VALUE></PROPERTY>";
}

// The instance with every property written by change `n` (`a` may be given
// as raw text, to send one that does not fit its type).
std::string instanceXml(std::string const& id, unsigned n, std::string const& extra = "",
                        std::optional<std::string> a = std::nullopt) {
    std::string const v = std::to_string(n);
    return std::string("<INSTANCE CLASSNAME=\"") + kClass + "\">" + property("Id", "string", id) +
           property("A", "uint32", a.value_or(v)) + property("B", "uint32", v) + property("C", "uint32", v) +
           property("Note", "string", noteText(n)) + extra + "</INSTANCE>";
}

std::string nameXml(std::string const& id) {
    return std::string("<INSTANCENAME CLASSNAME=\"") + kClass +
           "\"><KEYBINDING NAME=\"Id\"><KEYVALUE VALUETYPE=\"string\">" + id + "</KEYVALUE></KEYBINDING></INSTANCENAME>";
}

std::string request(std::string const& method, std::string const& params) {
    return e2e::intrinsicRequest(method, params);
}

std::string createClassRequest() {
    auto plain = [](char const* name, char const* type) {
        return std::string("<PROPERTY NAME=\"") + name + "\" TYPE=\"" + type + "\"/>";
    };
    return request("CreateClass",
                   std::string("<IPARAMVALUE NAME=\"NewClass\"><CLASS NAME=\"") + kClass +
                       "\"><PROPERTY NAME=\"Id\" TYPE=\"string\"><QUALIFIER NAME=\"Key\" TYPE=\"boolean\">"
                       "<VALUE>TRUE</VALUE></QUALIFIER></PROPERTY>" +
                       plain("A", "uint32") + plain("B", "uint32") + plain("C", "uint32") +
                       plain("Note", "string") + "</CLASS></IPARAMVALUE>");
}

// One request of the mix: what it sends, the state it makes when it is
// carried out, and the CIM status it must get (0: acknowledged).
struct Change {
    char const* kind;
    std::string request;
    State after;
    int expectedCode = 0;
};

// The kinds of change, each with the state it applies to and what it does.
// A refused kind leaves the state as it is.
struct Kind {
    char const* name;
    bool onPresent;  // chosen for an instance that exists (else for one that does not)
    int weight;
    int expectedCode;
    Change (*make)(std::string const& id, State const& s, unsigned n);
};

Change modifyRequest(char const* kind, std::string const& id, unsigned n, std::string const& extra,
                     std::string const& propertyList, State after, int code) {
    return {kind,
            request("ModifyInstance", "<IPARAMVALUE NAME=\"ModifiedInstance\"><VALUE.NAMEDINSTANCE>" + nameXml(id) +
                                          instanceXml(id, n, extra) + "</VALUE.NAMEDINSTANCE></IPARAMVALUE>" +
                                          propertyList),
            after, code};
}

std::vector<Kind> const kKinds = {
    {"create", false, 6, 0,
     [](std::string const& id, State const&, unsigned n) {
         return Change{"create",
                       request("CreateInstance", "<IPARAMVALUE NAME=\"NewInstance\">" + instanceXml(id, n) +
                                                     "</IPARAMVALUE>"),
                       State{true, n, n, n, n}};
     }},
    // Every property written; the whole instance changes.
    {"modify", true, 6, 0,
     [](std::string const& id, State const&, unsigned n) {
         return modifyRequest("modify", id, n, "", "", State{true, n, n, n, n}, 0);
     }},
    // Every property sent, only A and Note listed: B and C keep theirs.
    {"modify A and Note", true, 3, 0,
     [](std::string const& id, State const& s, unsigned n) {
         return modifyRequest("modify A and Note", id, n, "",
                              "<IPARAMVALUE NAME=\"PropertyList\"><VALUE.ARRAY><VALUE>A</VALUE><VALUE>Note</VALUE>"
                              "</VALUE.ARRAY></IPARAMVALUE>",
                              State{true, n, s.b, s.c, n}, 0);
     }},
    {"set C", true, 3, 0,
     [](std::string const& id, State const& s, unsigned n) {
         return Change{"set C",
                       request("SetProperty", "<IPARAMVALUE NAME=\"InstanceName\">" + nameXml(id) + "</IPARAMVALUE>" +
                                                  e2e::valueParam("PropertyName", "C") +
                                                  e2e::valueParam("NewValue", std::to_string(n))),
                       State{true, s.a, s.b, n, s.note}};
     }},
    {"delete", true, 3, 0,
     [](std::string const& id, State const&, unsigned) {
         return Change{"delete",
                       request("DeleteInstance", "<IPARAMVALUE NAME=\"InstanceName\">" + nameXml(id) + "</IPARAMVALUE>"),
                       State{}};
     }},
    // Refused: none of their values may appear.
    {"create of an existing instance", true, 1, 11,
     [](std::string const& id, State const& s, unsigned n) {
         return Change{"create of an existing instance",
                       request("CreateInstance", "<IPARAMVALUE NAME=\"NewInstance\">" + instanceXml(id, n) +
                                                     "</IPARAMVALUE>"),
                       s, 11};
     }},
    {"modify naming a property the class lacks", true, 1, 12,
     [](std::string const& id, State const& s, unsigned n) {
         return modifyRequest("modify naming a property the class lacks", id, n,
                              property("Bogus", "uint32", std::to_string(n)), "", s, 12);
     }},
    {"modify of a missing instance", false, 1, 6,
     [](std::string const& id, State const& s, unsigned n) {
         return modifyRequest("modify of a missing instance", id, n, "", "", s, 6);
     }},
    {"create with a value that does not fit", false, 1, 4,
     [](std::string const& id, State const& s, unsigned n) {
         return Change{"create with a value that does not fit",
                       request("CreateInstance", "<IPARAMVALUE NAME=\"NewInstance\">" +
                                                     instanceXml(id, n, "", std::string("-1")) + "</IPARAMVALUE>"),
                       s, 4};
     }},
    {"delete of a missing instance", false, 1, 6,
     [](std::string const& id, State const& s, unsigned) {
         return Change{"delete of a missing instance",
                       request("DeleteInstance", "<IPARAMVALUE NAME=\"InstanceName\">" + nameXml(id) + "</IPARAMVALUE>"),
                       s, 6};
     }},
};

// The CIM status of a whole answer (0 when it holds no ERROR).
int cimCode(HttpResponse const& r) {
    std::size_t at = r.body.find("<ERROR CODE=\"");
    if (at == std::string::npos) return 0;
    return std::atoi(r.body.c_str() + at + 13);
}

// ---------------------------------------------------------------------------
// The clients.

struct Counts {
    long acknowledged = 0, refused = 0, unanswered = 0, unansweredApplied = 0;
};

// One client: its instances' known states, the change in doubt after an
// unanswered request, and its own choices.
class Client {
public:
    Client(int index, std::uint64_t seed) : _index(index), _rng(seed) {}

    // Sends changes until `stop` or the first unanswered request.
    void work(int port, std::atomic<bool> const& stop) {
        Connection c(port);
        while (!stop.load() && c.ok()) {
            int const slot = std::uniform_int_distribution<int>(0, kInstancesPerClient - 1)(_rng);
            Change change = pick(idOf(_index, slot), known[slot]);
            HttpResponse r;
            if (c.send(change.request)) r = c.read();
            if (!r.complete) {
                ++counts.unanswered;
                doubt = {slot, change.after, change.kind};
                return;
            }
            int const code = r.status == 200 ? cimCode(r) : -r.status;
            if (code == 0) {
                ++counts.acknowledged;
                known[slot] = change.after;
            } else {
                ++counts.refused;
            }
            if (code != change.expectedCode && faults.size() < 5)
                faults.push_back(std::string(change.kind) + " of " + idOf(_index, slot) + " in state " +
                                 describe(known[slot]) + " answered " + std::to_string(code) + ", expected " +
                                 std::to_string(change.expectedCode) + ": " + r.body.substr(0, 300));
        }
    }

    std::array<State, kInstancesPerClient> known{};
    struct Doubt {
        int slot = -1;
        State after;
        char const* kind = "";
    } doubt;
    Counts counts;
    std::vector<std::string> faults;

private:
    Change pick(std::string const& id, State const& s) {
        int total = 0;
        for (Kind const& k : kKinds)
            if (k.onPresent == s.present) total += k.weight;
        int roll = std::uniform_int_distribution<int>(0, total - 1)(_rng);
        for (Kind const& k : kKinds) {
            if (k.onPresent != s.present) continue;
            if (roll < k.weight) {
                Change c = k.make(id, s, ++_changes + 1000000u * static_cast<unsigned>(_index));
                c.expectedCode = k.expectedCode;
                return c;
            }
            roll -= k.weight;
        }
        return {};
    }

    int const _index;
    std::mt19937_64 _rng;
    unsigned _changes = 0;
};

// ---------------------------------------------------------------------------
// Reading the instances back.

// The text of property `name`'s VALUE in one instance's XML, or nullopt.
std::optional<std::string> valueOf(std::string const& instance, std::string const& name) {
    std::size_t at = instance.find("<PROPERTY NAME=\"" + name + "\"");
    if (at == std::string::npos) return std::nullopt;
    std::size_t end = instance.find("</PROPERTY>", at);
    std::size_t self = instance.find("/>", at);
    if (end == std::string::npos || (self != std::string::npos && self < instance.find('>', at) + 1)) {
        return std::nullopt;  // <PROPERTY .../>: NULL
    }
    std::string const element = instance.substr(at, end - at);
    std::size_t v = element.find("<VALUE>");
    if (v == std::string::npos) return std::nullopt;
    std::size_t ve = element.find("</VALUE>", v);
    if (ve == std::string::npos) return std::nullopt;
    return element.substr(v + 7, ve - v - 7);
}

// What one enumerated instance holds, in the model's terms; `why` says
// what does not fit the model.
State stateOf(std::string const& instance, std::string& why) {
    State s{true};
    auto number = [&](char const* name, unsigned& out) {
        std::optional<std::string> v = valueOf(instance, name);
        if (!v || v->empty() || v->find_first_not_of("0123456789") != std::string::npos) {
            why += std::string(name) + " is " + (v ? "\"" + *v + "\"" : "NULL") + "; ";
            return;
        }
        out = static_cast<unsigned>(std::stoul(*v));
    };
    number("A", s.a);
    number("B", s.b);
    number("C", s.c);
    std::optional<std::string> note = valueOf(instance, "Note");
    std::size_t const space = note ? note->find(' ', 7) : std::string::npos;
    if (!note || note->rfind("change ", 0) != 0 || space == std::string::npos) {
        why += "Note is not a change's note; ";
    } else {
        s.note = static_cast<unsigned>(std::stoul(note->substr(7, space - 7)));
        if (*note != noteText(s.note)) why += "Note is torn: \"" + *note + "\"; ";
    }
    return s;
}

// The shared fixture's server, killed with SIGKILL at the end of the test
// rather than stopped.
class CrashTest : public e2e::ServerTest {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/kivo-crash.XXXXXX";
        ASSERT_NE(::mkdtemp(pattern), nullptr);
        _dir = pattern;
        _file = _dir + "/repository.db";
    }
    void TearDown() override {
        if (server.pid() > 0) server.stop(SIGKILL);
        std::error_code ignored;
        if (!_dir.empty()) std::filesystem::remove_all(_dir, ignored);
    }

    void start() { ServerTest::start({"--repository", _file}); }

    // The clients work for `ms`, then the server is killed: its exit status.
    int workThenKill(std::vector<Client>& clients, int ms) {
        std::atomic<bool> stop{false};
        std::vector<std::thread> threads;
        for (Client& c : clients) threads.emplace_back([&c, &stop, port = server.port()] { c.work(port, stop); });
        std::this_thread::sleep_for(milliseconds(ms));
        int const status = server.stop(SIGKILL);
        stop = true;
        for (std::thread& t : threads) t.join();
        return status;
    }

    // Reads every instance of the class and matches each client's instances
    // against their known state or the change in doubt; the state found
    // becomes the known one. False (with failures added) on a mismatch.
    bool verify(std::vector<Client>& clients, int round) {
        HttpResponse r = exchange(request("EnumerateInstances", e2e::classParam(kClass)));
        if (!r.complete || r.status != 200 || cimCode(r) != 0) {
            ADD_FAILURE() << "round " << round << ": the instances cannot be read: " << r.body.substr(0, 400);
            return false;
        }
        std::vector<std::vector<std::optional<State>>> found(
            kClients, std::vector<std::optional<State>>(kInstancesPerClient));
        bool ok = true;
        for (std::size_t at = r.body.find("<VALUE.NAMEDINSTANCE>"); at != std::string::npos;
             at = r.body.find("<VALUE.NAMEDINSTANCE>", at + 1)) {
            std::string const instance = e2e::between(r.body, "<INSTANCE ", "</INSTANCE>", at);
            std::string const id = valueOf(instance, "Id").value_or("");
            int client = -1, slot = -1;
            if (std::sscanf(id.c_str(), "c%d-i%d", &client, &slot) != 2 || client < 0 || client >= kClients ||
                slot < 0 || slot >= kInstancesPerClient || id != idOf(client, slot) || found[client][slot]) {
                ADD_FAILURE() << "round " << round << ": an instance no client made (or twice): " << instance;
                ok = false;
                continue;
            }
            std::string why;
            found[client][slot] = stateOf(instance, why);
            if (!why.empty()) {
                ADD_FAILURE() << "round " << round << ": " << id << " is not any change's state: " << why;
                ok = false;
            }
        }
        for (int c = 0; c < kClients; ++c) {
            Client& client = clients[c];
            for (int slot = 0; slot < kInstancesPerClient; ++slot) {
                State const got = found[c][slot].value_or(State{});
                bool const inDoubt = client.doubt.slot == slot;
                if (got == client.known[slot]) continue;
                if (inDoubt && got == client.doubt.after) {
                    client.known[slot] = got;
                    ++client.counts.unansweredApplied;
                    continue;
                }
                ADD_FAILURE() << "round " << round << ": " << idOf(c, slot) << " is " << describe(got)
                              << "; the last acknowledged change left it " << describe(client.known[slot])
                              << (inDoubt ? "; the unanswered " + std::string(client.doubt.kind) + " would make it " +
                                                describe(client.doubt.after)
                                          : std::string("; no change of it was unanswered"));
                ok = false;
            }
            client.doubt = {};
        }
        return ok;
    }

    std::string _dir;
    std::string _file;
};

TEST_F(CrashTest, EveryAcknowledgedChangeSurvivesSigkillAndNothingElseDoes) {
    std::uint64_t seed = std::random_device()();
    if (char const* s = std::getenv("KIVO_CRASH_SEED")) seed = std::strtoull(s, nullptr, 10);
    std::cout << "crash test seed: " << seed << " (KIVO_CRASH_SEED=" << seed << " repeats the choices)" << std::endl;
    RecordProperty("seed", std::to_string(seed));
    std::mt19937_64 rng(seed);

    ASSERT_NO_FATAL_FAILURE(start());
    HttpResponse created = exchange(createClassRequest());
    ASSERT_TRUE(created.complete);
    ASSERT_EQ(cimCode(created), 0) << created.body;

    std::vector<Client> clients;
    clients.reserve(kClients);
    for (int i = 0; i < kClients; ++i) clients.emplace_back(i, seed + 1 + static_cast<std::uint64_t>(i));

    auto const began = Clock::now();
    int kills = 0;
    for (; kills < kKills && Clock::now() - began < kRunLimit; ++kills) {
        int const status = workThenKill(clients, std::uniform_int_distribution<int>(kMinRunMs, kMaxRunMs)(rng));
        ASSERT_EQ(status, 128 + SIGKILL) << "the server ended before it was killed";
        for (Client const& c : clients)
            for (std::string const& f : c.faults) ADD_FAILURE() << "client answer: " << f;
        ASSERT_NO_FATAL_FAILURE(start()) << "after kill " << kills + 1;
        ASSERT_TRUE(verify(clients, kills + 1)) << "seed " << seed;
    }

    // The file as a kill leaves it: the clients work once more, the server is
    // killed, and SQLite's full check reads every page before the server
    // opens it again.
    ASSERT_EQ(workThenKill(clients, kMaxRunMs), 128 + SIGKILL);
    ++kills;
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open_v2(_file.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
    std::string check;
    char* error = nullptr;
    int const rc = sqlite3_exec(
        db, "PRAGMA integrity_check",
        [](void* out, int, char** values, char**) {
            *static_cast<std::string*>(out) += std::string(values[0] ? values[0] : "NULL") + "\n";
            return 0;
        },
        &check, &error);
    std::string const message = error ? error : "";
    sqlite3_free(error);
    sqlite3_close(db);
    EXPECT_EQ(rc, SQLITE_OK) << message;
    EXPECT_EQ(check, "ok\n");

    ASSERT_NO_FATAL_FAILURE(start());
    EXPECT_TRUE(verify(clients, kills)) << "seed " << seed;
    EXPECT_EQ(server.stop(SIGTERM), 0) << "the server did not stop cleanly";

    Counts total;
    for (Client const& c : clients) {
        total.acknowledged += c.counts.acknowledged;
        total.refused += c.counts.refused;
        total.unanswered += c.counts.unanswered;
        total.unansweredApplied += c.counts.unansweredApplied;
    }
    std::cout << kills << " kills in " << std::chrono::duration_cast<milliseconds>(Clock::now() - began).count()
              << " ms: " << total.acknowledged << " changes acknowledged, " << total.refused << " refused, "
              << total.unanswered << " unanswered (" << total.unansweredApplied << " of them found carried out)"
              << std::endl;
    if (kills <= kKills) std::cout << "the run limit stopped the kills early" << std::endl;
    // Kills that land while nothing is in flight prove little: most must cut
    // a request, and the clients must have got work done between them.
    EXPECT_GE(total.unanswered, kills / 2);
    EXPECT_GE(total.acknowledged, static_cast<long>(kills));
}

}  // namespace
