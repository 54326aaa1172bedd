#include "KivoUtilities/IKivoValue.h"

#include "KivoUtilities/IKivoClass.h"
#include "KivoUtilities/IKivoInstanceName.h"
#include "KivoUtilities/IKivoObject.h"
#include "KivoUtilities/KVOCIMText.h"

KVOCIMType IKivoValue::getCIMType() const { return KVOCIMType::String; }

bool IKivoValue::isArray() const { return false; }

std::vector<KVOSmrPtr<IKivoValue>> IKivoValue::getElements() const { return {}; }

bool IKivoValue::getBoolean() const {
    bool v = false;
    if (isArray() || !KVOCIMText::parseBoolean(toString(), v)) KVOCIMText::invalid("IKivoValue", "not a boolean value");
    return v;
}

std::uint64_t IKivoValue::getUnsigned() const {
    std::uint64_t v = 0;
    if (isArray() || !KVOCIMText::parseUnsigned(toString(), v))
        KVOCIMText::invalid("IKivoValue", "not an unsigned integer value");
    return v;
}

std::int64_t IKivoValue::getSigned() const {
    std::int64_t v = 0;
    if (isArray() || !KVOCIMText::parseSigned(toString(), v)) KVOCIMText::invalid("IKivoValue", "not an integer value");
    return v;
}

double IKivoValue::getReal() const {
    double v = 0;
    if (isArray() || !KVOCIMText::parseReal(toString(), v)) KVOCIMText::invalid("IKivoValue", "not a numeric value");
    return v;
}

KVOSmrPtr<IKivoInstanceName> IKivoValue::getReference() const { return nullptr; }

KVOSmrPtr<IKivoObject> IKivoValue::getInstance() const { return nullptr; }

KVOSmrPtr<IKivoClass> IKivoValue::getClass() const { return nullptr; }

namespace {

bool sameScalar(IKivoValue const& a, IKivoValue const& b) {
    KVOCIMType const ta = a.getCIMType();
    KVOCIMType const tb = b.getCIMType();
    if (ta == KVOCIMType::Reference || tb == KVOCIMType::Reference) {
        KVOSmrPtr<IKivoInstanceName> pa = a.getReference(), pb = b.getReference();
        if (pa && pb) return pa->sameAs(*pb);
        return a.toString() == b.toString();
    }
    if (ta == KVOCIMType::Instance || tb == KVOCIMType::Instance) return a.getInstance() == b.getInstance();
    if (ta == KVOCIMType::Class || tb == KVOCIMType::Class) return a.getClass() == b.getClass();
    // A number (or boolean) on either side: compare as such, reading the other
    // side's text; text that does not read is simply different.
    try {
        if (ta == KVOCIMType::Boolean || tb == KVOCIMType::Boolean) return a.getBoolean() == b.getBoolean();
        if (KVOCIMTypes::isReal(ta) || KVOCIMTypes::isReal(tb)) return a.getReal() == b.getReal();
        if (KVOCIMTypes::isInteger(ta) || KVOCIMTypes::isInteger(tb)) {
            bool const negA = KVOCIMTypes::isSigned(ta) ? a.getSigned() < 0 : false;
            bool const negB = KVOCIMTypes::isSigned(tb) ? b.getSigned() < 0 : false;
            if (negA || negB) return a.getSigned() == b.getSigned();
            return a.getUnsigned() == b.getUnsigned();
        }
    } catch (KivoBaseException const&) {
        return false;
    }
    return a.toString() == b.toString();
}

}  // namespace

bool IKivoValue::sameValue(IKivoValue const& other) const {
    if (isArray() != other.isArray()) return false;
    if (!isArray()) return sameScalar(*this, other);
    std::vector<KVOSmrPtr<IKivoValue>> const a = getElements(), b = other.getElements();
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (!sameScalar(*a[i], *b[i])) return false;
    return true;
}
