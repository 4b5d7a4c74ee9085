#pragma once

#include <set>

#include <Object.h>

/// What graphics states ask for.
///
/// A part of `PopplerRenderer.cpp`, which alone includes it: no other file sees Poppler. Nothing
/// here may be used outside `PopplerRenderer`'s lock.
namespace Bleedwise::Poppler {

/// Finds out whether a graphics state among some resources is of a kind: their own and those of the
/// forms, patterns and Type 3 fonts that they lead to. Soft masks, which are composited by
/// themselves, are left out.
class GraphicsStateScan {
public:
    using Test = bool (*)(const Object& state);

    explicit GraphicsStateScan(Test test) : test_(test) {}

    bool finds(Dict* resources, int depth = 0) {
        if (!resources || depth > deepest)
            return false;
        return anyIn(*resources, "ExtGState",
                     [&](Object& state) { return state.isDict() && test_(state); }) ||
               anyIn(*resources, "XObject", [&](Object& form) { return leadsOn(form, depth); }) ||
               anyIn(*resources, "Pattern", [&](Object& tile) { return leadsOn(tile, depth); }) ||
               anyIn(*resources, "Font", [&](Object& font) { return leadsOn(font, depth); });
    }

private:
    static constexpr int deepest = 32;

    /// Whether `test` holds for a value of the dictionary `category` that was not seen before.
    template <typename Test>
    bool anyIn(Dict& resources, const char* category, const Test& test) {
        Object values = resources.lookup(category);
        if (!values.isDict())
            return false;
        for (int i = 0; i < values.dictGetLength(); ++i) {
            const Object& reference = values.getDict()->getValNF(i);
            if (reference.isRef() && !seen_.insert(reference.getRef()).second)
                continue;
            Object value = values.dictGetVal(i);
            if (test(value))
                return true;
        }
        return false;
    }

    bool leadsOn(Object& object, int depth) {
        Dict* dictionary = object.isStream() ? object.streamGetDict()
                           : object.isDict() ? object.getDict()
                                             : nullptr;
        if (!dictionary)
            return false;
        Object resources = dictionary->lookup("Resources");
        return resources.isDict() && finds(resources.getDict(), depth + 1);
    }

    Test test_;
    std::set<Ref> seen_;
};

/// Whether a graphics state blends by a mode other than Normal (ISO 32000-1, table 58: a name, or
/// an array of which the first known name counts).
inline bool blends(const Object& state) {
    Object mode = state.dictLookup("BM");
    if (mode.isArray() && mode.arrayGetLength() > 0)
        mode = mode.arrayGet(0);
    return mode.isName() && !mode.isName("Normal") && !mode.isName("Compatible");
}

/// Whether a graphics state switches overprint on (ISO 32000-1, table 58).
inline bool overprints(const Object& state) {
    const auto isOn = [&](const char* key) {
        const Object value = state.dictLookup(key);
        return value.isBool() && value.getBool();
    };
    return isOn("OP") || isOn("op");
}

} // namespace Bleedwise::Poppler
