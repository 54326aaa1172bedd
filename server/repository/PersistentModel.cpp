#include "repository/PersistentModel.h"

#include "mof/MofCompiler.h"
#include "mof/MofWriter.h"
#include "objectmanager/CimStatus.h"

#include "KivoUtilities/KivoBaseException.h"

#include <functional>
#include <map>
#include <set>

namespace kivo::repo {

char const kRecovery[] = "; restore it from a MOF export (--import) or move it aside to start with an empty one";

namespace {

[[noreturn]] void damaged(RepositoryFile const& file, std::string const& reason) {
    throw RepositoryError("repository " + file.file() + ": " + reason + kRecovery);
}

// The MOF text of one stored namespace: declarations, then classes with each
// superclass before its subclasses (a replaced class keeps its row, so the
// rows alone need not be in that order).
std::string storedText(RepositoryFile const& file, KVOString const& nameSpace) {
    std::string text;
    for (SchemaRow const& row : file.qualifiers(nameSpace)) text += row.mof;
    std::vector<SchemaRow> const rows = file.classes(nameSpace);
    std::map<std::string, std::size_t> byName;
    for (std::size_t i = 0; i < rows.size(); ++i) byName[om::nameKey(rows[i].name)] = i;
    std::vector<int> state(rows.size(), 0);  // 0 not yet, 1 on the way, 2 written
    std::function<void(std::size_t)> emit = [&](std::size_t i) {
        if (state[i] == 2) return;
        if (state[i] == 1)
            damaged(file, "class " + rows[i].name.str() + " of " + nameSpace.str() + " descends from itself");
        state[i] = 1;
        if (!rows[i].superClass.isEmpty()) {
            auto it = byName.find(om::nameKey(rows[i].superClass));
            if (it != byName.end()) emit(it->second);
        }
        text += rows[i].mof;
        state[i] = 2;
    };
    for (std::size_t i = 0; i < rows.size(); ++i) emit(i);
    return text;
}

std::string qualifierText(qora::IQualifierDef const& decl) {
    std::string out;
    mof::writeQualifierDecl(out, decl);
    return out;
}

std::string classText(IKivoClass const& cls, om::ClassRepository const& repository, KVOString const& nameSpace) {
    std::string out;
    mof::writeClass(out, cls, repository, nameSpace);
    return out;
}

}  // namespace

void loadSchema(RepositoryFile const& file, om::ClassRepository& repository) {
    for (KVOString const& nameSpace : file.namespaces()) {
        repository.addNamespace(nameSpace);
        mof::MofCompiler compiler(repository, nameSpace);
        mof::MofResult const r = compiler.compileText(storedText(file, nameSpace), "stored schema of " + nameSpace.str());
        if (!r.ok()) damaged(file, "its schema does not read back: " + r.error->text());
    }
}

PersistentModel::PersistentModel(std::shared_ptr<RepositoryFile> file, om::StoreLimits limits)
    : _file(std::move(file)), _store(std::make_shared<DiskInstanceStore>(_file, limits)) {}

void PersistentModel::load(om::ObjectManager& om, om::ModelSettings const& settings) {
    if (_file->initialised()) {
        loadSchema(*_file, om.repository());
        om::registerModel(om, settings);
    } else {
        try {
            // Schema changes take the schema lock, then the file's; so does this.
            om.withSchemaHeld([&] {
                _file->transaction([&] {
                    std::vector<om::ModelInstance> const declared = om::compileModel(om, settings);
                    om::registerModel(om, settings);
                    writeSchema(*_file, om.repository());
                    om::createModelInstances(om, declared);
                    _file->setInitialised();
                });
            });
        } catch (KivoBaseException const& e) {
            throw RepositoryError("repository " + _file->file() + ": the first start could not write it: " +
                                  e.getMessage().str());
        }
    }
    _journal = std::make_unique<RepositoryJournal>(_file, om.repository());
    om.setJournal(_journal.get());
}

SchemaUpdate updateSchema(om::ObjectManager& om, PersistentModel& model, om::ModelSettings const& settings) {
    om::ClassRepository fresh;
    om::compileSchemaInto(fresh, settings);
    om::ClassRepository const& stored = om.repository();
    om::ClassRepository next = stored;  // the result, checked before anything is written
    SchemaUpdate update;
    struct Write {
        KVOString nameSpace;
        KVOString name;
        bool isClass;
    };
    std::vector<Write> writes;
    std::vector<KVOString> newNamespaces;
    auto refuse = [&](std::string reason) {
        update.changes.clear();
        update.refused = std::move(reason) + "; nothing was changed";
        return update;
    };
    for (KVOString const& ns : fresh.namespaces()) {
        std::string const where = " " + ns.str() + ":";
        if (!stored.hasNamespace(ns)) {
            next.addNamespace(ns);
            newNamespaces.push_back(ns);
            update.changes.push_back("added namespace " + ns.str());
        }
        std::string text;  // what is compiled into `next`
        for (qora::IQualifierDef const* decl : fresh.qualifierDecls(ns)) {
            std::string const now = qualifierText(*decl);
            qora::IQualifierDef const* old = stored.getQualifierDecl(ns, decl->getName());
            if (old && qualifierText(*old) == now) continue;
            if (old && (old->getCIMType() != decl->getCIMType() || old->isArray() != decl->isArray())) {
                std::vector<KVOString> const users = stored.classesUsing(ns, decl->getName());
                if (!users.empty())
                    return refuse("qualifier" + where + decl->getName().str() + " changes its type but class " +
                                  users.front().str() + " uses it");
            }
            text += now;
            writes.push_back({ns, decl->getName(), false});
            update.changes.push_back((old ? "replaced qualifier" : "added qualifier") + where + decl->getName().str());
        }
        std::set<std::string> changed;  // classes replaced, by name key
        std::vector<KVOString> replaced;
        for (KVOSmrPtr<IKivoClass> const& cls : mof::compileOrder(fresh, ns)) {
            std::string const now = classText(*cls, fresh, ns);
            KVOSmrPtr<IKivoClass> old = stored.getClass(ns, cls->getName());
            bool const superChanged = changed.count(om::nameKey(cls->getSuperClassName())) > 0;
            if (old && !superChanged && classText(*old, stored, ns) == now) continue;
            if (old) {
                changed.insert(om::nameKey(cls->getName()));
                replaced.push_back(old->getName());
                if (std::uint64_t const n = model.store()->count(ns, *old))
                    return refuse("class" + where + old->getName().str() + " has " + std::to_string(n) +
                                  " stored instances");
                for (KVOSmrPtr<IKivoClass> const& sub : stored.subclasses(ns, old->getName(), false))
                    if (!fresh.getClass(ns, sub->getName()))
                        return refuse("class" + where + old->getName().str() + " has the subclass " +
                                      sub->getName().str() + ", which the MOF does not declare");
            }
            text += now;
            writes.push_back({ns, cls->getName(), true});
            update.changes.push_back((old ? "replaced class" : "added class") + where + cls->getName().str());
        }
        // The replaced classes leave `next` leaves first, then come back as
        // the MOF declares them.
        for (bool progress = true; progress && !replaced.empty();) {
            progress = false;
            for (auto it = replaced.begin(); it != replaced.end();) {
                if (!next.subclasses(ns, *it, false).empty()) {
                    ++it;
                    continue;
                }
                next.removeClass(ns, *it);
                it = replaced.erase(it);
                progress = true;
            }
        }
        if (!replaced.empty()) return refuse("class" + where + replaced.front().str() + " keeps subclasses");
        mof::MofCompiler compiler(next, ns);
        mof::MofResult const r = compiler.compileText(text, "update of " + ns.str());
        if (!r.ok()) return refuse("the changes do not fit the stored schema: " + r.error->text());
    }
    RepositoryFile& file = model.file();
    file.transaction([&] {
        for (KVOString const& ns : newNamespaces) file.addNamespace(ns);
        for (Write const& w : writes) {
            if (w.isClass) {
                KVOSmrPtr<IKivoClass> cls = next.getClass(w.nameSpace, w.name);
                file.putClass(w.nameSpace, cls->getName(), cls->getSuperClassName(), classText(*cls, next, w.nameSpace));
            } else {
                file.putQualifier(w.nameSpace, w.name, qualifierText(*next.getQualifierDecl(w.nameSpace, w.name)));
            }
        }
    });
    om.repository() = next;
    return update;
}

void exportRepository(om::ObjectManager const& om, DiskInstanceStore& store, std::ostream& out,
                      std::string const& onlyNamespace) {
    om::ClassRepository const& repository = om.repository();
    std::vector<KVOString> namespaces = repository.namespaces();
    if (!onlyNamespace.empty()) {
        if (!repository.hasNamespace(onlyNamespace)) throw CommandError("no namespace " + onlyNamespace + " to export");
        namespaces = {KVOString(onlyNamespace.c_str())};
    }
    for (KVOString const& ns : namespaces) {
        mof::writeNamespace(out, repository, ns, [&](om::Sink<KVOSmrPtr<IKivoObject>> const& sink) {
            bool more = true;
            for (KVOSmrPtr<IKivoClass> const& cls : mof::compileOrder(repository, ns)) {
                if (!more) return;
                store.enumerate(ns, *cls, [&](KVOSmrPtr<IKivoObject> const& o) { return more = sink(o); });
            }
        });
    }
}

std::string importRepository(PersistentModel& model, std::string const& mofFile,
                             std::vector<std::string> const& includePath) {
    RepositoryFile& file = model.file();
    if (file.initialised() || !file.namespaces().empty())
        throw CommandError("repository " + file.file() + " is not empty: import into a new file");
    om::ObjectManager om(model.store());
    mof::MofCompiler compiler(om.repository());
    compiler.setIncludePath(includePath);
    mof::MofResult const r = compiler.compileFile(mofFile);
    if (!r.ok()) throw om::ModelLoadError(r.error->text());
    std::size_t classes = 0;
    om.withSchemaHeld([&] {
        file.transaction([&] {
            writeSchema(file, om.repository());
            for (KVOString const& ns : om.repository().namespaces()) classes += om.repository().classes(ns).size();
            for (mof::MofInstance const& i : r.instances) {
                try {
                    om.createInstance(i.nameSpace, i.instance);
                } catch (KivoBaseException const& e) {
                    throw om::ModelLoadError(mofFile + ": instance of " + i.instance->getClassName().str() + ": " +
                                             e.getMessage().str());
                }
            }
            file.setInitialised();
        });
    });
    return "imported " + std::to_string(om.repository().namespaces().size()) + " namespaces, " +
           std::to_string(classes) + " classes and " + std::to_string(r.instances.size()) + " instances into " +
           file.file();
}

}  // namespace kivo::repo
