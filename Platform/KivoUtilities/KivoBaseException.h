// The utility library's exception: a CIM status code with four describing texts.
//
// Everything the adapters raise derives from it. It is a value type: copying it
// copies the texts, the code and the list of instances it carries.
#pragma once

#include "KivoUtilities/KVOString.h"

#include <exception>
#include <vector>

class KivoBaseException : public std::exception {
public:
    KivoBaseException() = default;
    KivoBaseException(KVOString type, KVOString where, KVOString who, KVOString message, int code);
    KivoBaseException(KivoBaseException const&) = default;
    KivoBaseException& operator=(KivoBaseException const&) = default;
    ~KivoBaseException() override;

    virtual KVOString getType() const { return _type; }
    virtual KVOString getWhere() const { return _where; }
    virtual KVOString getWho() const { return _who; }
    virtual KVOString getMessage() const { return _message; }
    virtual int getCode() const { return _code; }
    // Free-form extra data some raisers attach (for example the names of
    // instances that failed); empty for everything this library raises.
    virtual std::vector<KVOString> getInstances() const { return _instances; }

    // The message, so that a stray exception still says what happened.
    char const* what() const noexcept override { return _message.c_str(); }

protected:
    KVOString _type;
    KVOString _where;
    KVOString _who;
    KVOString _message;
    int _code = 0;
    std::vector<KVOString> _instances;
};

// Raised by KVOSmrPtr when a null pointer is dereferenced. The message names the
// operator ("operator->()" or "operator*()").
class KVONullPointerException : public KivoBaseException {
public:
    explicit KVONullPointerException(char const* op);
};

// Raised by list iterators asked for an item they do not have ("Out of Bounds").
class KVOBoundsException : public KivoBaseException {
public:
    explicit KVOBoundsException(KVOString const& where);
};
