// A CIM value as the object manager hands it around: a property value, a key
// binding, a method parameter or return value, a qualifier value, or a class
// or instance carried as a value in association results.
//
// A value is never CIM NULL: where CIM allows NULL (a property, parameter or
// qualifier without a value) the holder's value pointer is null instead. An
// array value is one value whose elements are scalar values of its element
// type; an empty array is a value too.
//
// Values are immutable once made and shared through KVOSmrPtr, so any thread
// may read one while others hold it. CKivoValue is the concrete value.
//
// Only toString() is pure. The typed accessors have defaults that read the
// value as untyped text, so a minimal implementation (or an untyped value
// from a client) still answers them: getCIMType() says String, getBoolean()
// and the numeric getters parse toString(), the object getters answer null.
// A getter that cannot answer (text that is not a number, a number out of the
// asked range, an array asked for a scalar) throws KivoBaseException with code
// 4 (CIM_ERR_INVALID_PARAMETER) and where "IKivoValue".
#pragma once

#include "KivoUtilities/KVOCIMType.h"
#include "KivoUtilities/KVOSmrPtr.h"
#include "KivoUtilities/KVOString.h"

#include <cstdint>
#include <vector>

class IKivoInstanceName;
class IKivoObject;
class IKivoClass;

class IKivoValue {
public:
    virtual ~IKivoValue() = default;
    // The value's string form: the text of a string, char16 or datetime;
    // "TRUE" or "FALSE"; a number in decimal (reals in their shortest form
    // that reads back the same); for a reference the path's string form
    // (IKivoInstanceName::toString); for an instance or class its class
    // name; for an array the elements' forms separated by commas.
    virtual KVOString toString() const = 0;

    // The type of the value (of its elements, for an array).
    virtual KVOCIMType getCIMType() const;
    virtual bool isArray() const;
    // The elements of an array (scalar values of getCIMType()); empty for a
    // scalar.
    virtual std::vector<KVOSmrPtr<IKivoValue>> getElements() const;

    // A boolean value; text reads "true"/"false" without regard to case.
    virtual bool getBoolean() const;
    // An integer value that fits the asked signedness; text is parsed as
    // decimal.
    virtual std::uint64_t getUnsigned() const;
    virtual std::int64_t getSigned() const;
    // Any numeric value as a double; text is parsed.
    virtual double getReal() const;
    // The path of a reference value; null for any other value.
    virtual KVOSmrPtr<IKivoInstanceName> getReference() const;
    // The instance or class a value carries; null for any other value.
    virtual KVOSmrPtr<IKivoObject> getInstance() const;
    virtual KVOSmrPtr<IKivoClass> getClass() const;

    // Whether two values are the same CIM value: same array-ness and element
    // count; numbers compare by value whatever their widths (an untyped text
    // is read as a number when the other side is one), booleans by truth,
    // references by IKivoInstanceName::sameAs, text byte-wise, instances and
    // classes by identity of the carried object.
    bool sameValue(IKivoValue const& other) const;
};
