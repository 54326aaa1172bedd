#include "repository/RepositoryJournal.h"

#include "mof/MofWriter.h"

namespace kivo::repo {

RepositoryJournal::RepositoryJournal(std::shared_ptr<RepositoryFile> file, om::ClassRepository const& repository)
    : _file(std::move(file)), _repository(repository) {}

void RepositoryJournal::namespaceAdded(KVOString const& nameSpace) { _file->addNamespace(nameSpace); }

void RepositoryJournal::qualifierSet(KVOString const& nameSpace, qora::IQualifierDef const& decl) {
    std::string mof;
    mof::writeQualifierDecl(mof, decl);
    _file->putQualifier(nameSpace, decl.getName(), mof);
}

void RepositoryJournal::qualifierDeleted(KVOString const& nameSpace, KVOString const& name) {
    _file->deleteQualifier(nameSpace, name);
}

void RepositoryJournal::classSet(KVOString const& nameSpace, IKivoClass const& resolved) {
    std::string mof;
    mof::writeClass(mof, resolved, _repository, nameSpace);
    _file->putClass(nameSpace, resolved.getName(), resolved.getSuperClassName(), mof);
}

void RepositoryJournal::classDeleted(KVOString const& nameSpace, KVOString const& name) {
    _file->deleteClass(nameSpace, name);
}

void writeSchema(RepositoryFile& file, om::ClassRepository const& repository) {
    for (KVOString const& nameSpace : repository.namespaces()) {
        file.addNamespace(nameSpace);
        for (qora::IQualifierDef const* decl : repository.qualifierDecls(nameSpace)) {
            std::string mof;
            mof::writeQualifierDecl(mof, *decl);
            file.putQualifier(nameSpace, decl->getName(), mof);
        }
        for (KVOSmrPtr<IKivoClass> const& cls : mof::compileOrder(repository, nameSpace)) {
            std::string mof;
            mof::writeClass(mof, *cls, repository, nameSpace);
            file.putClass(nameSpace, cls->getName(), cls->getSuperClassName(), mof);
        }
    }
}

}  // namespace kivo::repo
