// A class as text, one line per element with everything a client can see
// (superclass, qualifiers with their flavors, properties, methods and
// parameters, origins and propagated flags), so two classes compare with
// EXPECT_EQ and a difference reads as a line. Override qualifiers are left
// out unless asked for: classes built in code override without them. Shared by the suites
// that compare repositories.
#pragma once

#include "KivoUtilities/CKivoData.h"

#include <algorithm>
#include <string>
#include <vector>

namespace class_text {

inline std::string text(KVOSmrPtr<IKivoValue> const& v) { return v ? v->toString().str() : "NULL"; }

// The qualifiers, one line each, sorted.
inline std::string qualifiers(std::vector<KVOSmrPtr<IKivoQualifier>> const& qs, std::string const& indent,
                              bool withOverride) {
    std::vector<std::string> lines;
    for (auto const& q : qs) {
        if (!withOverride && q->getName().equalsIgnoreCase("Override")) continue;
        KVOQualifierFlavors const f = q->getFlavors();
        lines.push_back(indent + "[" + q->getName().str() + "=" + text(q->getValue()) + " " + KVOCIMTypes::name(q->getCIMType()).str() +
                        (f.overridable ? " overridable" : "") + (f.toSubclass ? " tosubclass" : "") +
                        (f.translatable ? " translatable" : "") + (q->isPropagated() ? " propagated" : "") + "]\n");
    }
    std::sort(lines.begin(), lines.end());
    std::string out;
    for (auto const& l : lines) out += l;
    return out;
}

inline std::string describe(IKivoClass const& c, bool withOverride = false) {
    std::string out = "class " + c.getName().str() + " : " + c.getSuperClassName().str() + "\n" + qualifiers(c.getQualifiers(), "", withOverride);
    for (auto const& p : c.getProperties())
        out += "  " + KVOCIMTypes::name(p->getCIMType()).str() + (p->isArray() ? "[] " : " ") + p->getName().str() + " ref=" +
               p->getReferenceClass().str() + " = " + text(p->getValue()) + " origin=" + p->getClassOrigin().str() +
               (p->isPropagated() ? " propagated" : "") + "\n" + qualifiers(p->getQualifiers(), "    ", withOverride);
    for (auto const& m : c.getMethods()) {
        out += "  " + KVOCIMTypes::name(m->getReturnType()).str() + " " + m->getName().str() + "() origin=" +
               m->getClassOrigin().str() + (m->isPropagated() ? " propagated" : "") + "\n" + qualifiers(m->getQualifiers(), "    ", withOverride);
        for (auto const& a : m->getParameters())
            out += "    " + KVOCIMTypes::name(a->getCIMType()).str() + (a->isArray() ? "[] " : " ") + a->getName().str() + "\n" +
                   qualifiers(a->getQualifiers(), "      ", withOverride);
    }
    return out;
}

}  // namespace class_text
