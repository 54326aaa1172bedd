// The schema journal of a server with a repository on disk: every class and
// qualifier declaration change the object manager makes is written to the
// repository file as the MOF text of its declared form (MofWriter.h), each
// one its own transaction, before the operation answers.
//
// Who calls it: ObjectManager's schema operations (SchemaJournal.h), under
// the object manager's schema lock; the start-up writes the first start's
// whole schema through writeSchema. Threading: as SchemaJournal (one call at
// a time); the file locks for itself.
#pragma once

#include "objectmanager/ClassRepository.h"
#include "objectmanager/SchemaJournal.h"
#include "repository/RepositoryFile.h"

#include <memory>

namespace kivo::repo {

class RepositoryJournal : public om::SchemaJournal {
public:
    // `repository` is the object manager's: it supplies the declarations a
    // class is written against. It must outlive the journal.
    RepositoryJournal(std::shared_ptr<RepositoryFile> file, om::ClassRepository const& repository);

    void namespaceAdded(KVOString const& nameSpace) override;
    void qualifierSet(KVOString const& nameSpace, qora::IQualifierDef const& decl) override;
    void qualifierDeleted(KVOString const& nameSpace, KVOString const& name) override;
    void classSet(KVOString const& nameSpace, IKivoClass const& resolved) override;
    void classDeleted(KVOString const& nameSpace, KVOString const& name) override;

private:
    std::shared_ptr<RepositoryFile> const _file;
    om::ClassRepository const& _repository;
};

// Writes every namespace, declaration and class of `repository` to `file`
// (classes superclass first). Call inside RepositoryFile::transaction.
void writeSchema(RepositoryFile& file, om::ClassRepository const& repository);

}  // namespace kivo::repo
