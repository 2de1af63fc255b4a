// Queries over a class tree, the builders that the compiler offers for it, and the merge of one tree
// into another.
#include <cstdio>
#include <memory>

#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/TextException.h"

namespace archivefile {

namespace {

// Merging a body against a larger existing one looks names up in an index instead of the chain.
constexpr int IndexedMergeSize = 32;

}  // namespace

// ---- Builders -----------------------------------------------------------------------------------

RapClass* Rapify::AddEmbeddedEntry(RapClass* node, int kind) {
    return node ? node->rapc_AddEmbeddedEntry(kind) : GetFirst()->rapc_AddEmbeddedEntry(kind);
}

// ---- Queries ------------------------------------------------------------------------------------

void Rapify::CheckPrimary(const RapClass* primary) {
    if (primary->next() != nullptr || primary->previous() != nullptr)
        throw TextException("internal rapbuild error: primary class has kids");
    if (!primary->textView().empty()) throw TextException("internal rapbuild error: primary cannot have inheritance");
    if (primary->kind() != RapClass::ClassKind) throw TextException("Internal rapbuild error; primary is not a class type");
}

RapClass* Rapify::rap_FindEntry(const char* name, int kind, RapClass* start) {
    if (start == nullptr) {
        RapClass* primary = GetFirst();
        CheckPrimary(primary);
        start = primary->firstChild();
    }
    const std::string_view wanted = name ? name : "";
    for (RapClass* node = start; node; node = node->next())
        if ((kind == -1 || node->kind() == kind) && node->hasName(wanted)) return node;
    return nullptr;
}

namespace {

template <class Accept>
RapClass* findChild(RapClass* cls, const char* name, bool emptyNameTakesFirst, Accept accept) {
    const std::string_view wanted = name ? name : "";
    for (RapClass* child = cls->firstChild(); child; child = child->next()) {
        if (!accept(child->kind())) continue;
        if ((emptyNameTakesFirst && wanted.empty()) || child->hasName(wanted)) return child;
    }
    return nullptr;
}

}  // namespace

RapClass* Rapify::rap_FindEmbeddedClass(const char* name, RapClass* cls) {
    if (cls == nullptr) CheckPrimary(cls = GetFirst());
    return findChild(cls, name, false, [](int kind) { return kind == RapClass::ClassKind; });
}

RapClass* Rapify::rap_FindEmbeddedArray(const char* name, RapClass* cls) {
    if (cls == nullptr) CheckPrimary(cls = GetFirst());
    return findChild(cls, name, true, [](int kind) { return kind == RapClass::ArrayKind; });
}

RapClass* Rapify::rap_FindEmbeddedVar(const char* name, RapClass* cls) {
    if (cls == nullptr) CheckPrimary(cls = GetFirst());
    return findChild(cls, name, true, [](int kind) {
        return kind == RapClass::StringKind || kind == RapClass::FloatKind || kind == RapClass::IntKind;
    });
}

RapClass* Rapify::rap_FindEmbeddedEntry(const char* name, RapClass* cls) {
    if (cls == nullptr) CheckPrimary(cls = GetFirst());
    return findChild(cls, name, false, [](int) { return true; });
}

RapClass* Rapify::rap_NextClass(RapClass* node) {
    for (RapClass* next = node ? node->next() : nullptr; next; next = next->next())
        if (next->kind() == RapClass::ClassKind) return next;
    return nullptr;
}

RapClass* Rapify::rap_NextArray(RapClass* node) {
    for (RapClass* next = node ? node->next() : nullptr; next; next = next->next())
        if (next->kind() == RapClass::ArrayKind) return next;
    return nullptr;
}

RapClass* Rapify::rap_GetFirstSimpleArrayEntry(RapClass* array) {
    if (array == nullptr) return nullptr;
    if (array->kind() != RapClass::ArrayKind) throw TextException("internal error: type is not an array");
    RapClass* first = array->firstChild();
    if (first != nullptr && first->kind() == RapClass::ArrayKind) throw TextException("array is not one dimensional");
    return first;
}

RapClass* Rapify::rap_GetNextSimpleArrayEntry(RapClass* element) {
    RapClass* next = element ? element->next() : nullptr;
    if (next != nullptr && next->kind() == RapClass::ArrayKind) throw TextException("array is not one dimensional");
    return next;
}

// ---- Merge --------------------------------------------------------------------------------------

int Rapify::Merge(RapClass* otherPrimary) {
    RapClass* primary = GetFirst();
    CheckPrimary(primary);
    if (otherPrimary == nullptr) return 0;
    CheckPrimary(otherPrimary);
    return MergeScan(primary, otherPrimary, 0) == 0 ? 0 : -1;
}

int Rapify::MergeScan(RapClass* existing, RapClass* incoming, int depth) {
    if (depth > MaxClassDepth) {
        std::fputs("classes nested too deep to merge\n", stderr);
        return -1;
    }
    // Existing entries by name; the first of a name is the one that a lookup along the chain finds.
    std::unique_ptr<NameIndex> index;
    int count = 0;
    for (RapClass* entry = existing->firstChild(); entry; entry = entry->next()) {
        if (entry->nameView().empty()) {
            std::fputs("bad name\n", stderr);
            return -1;
        }
        ++count;
    }
    if (count > IndexedMergeSize) {
        index = std::make_unique<NameIndex>();
        for (RapClass* entry = existing->firstChild(); entry; entry = entry->next())
            if (index->find(entry->nameView()) == index->end()) index->emplace(entry->nameView(), entry);
    }
    const auto lookup = [&](std::string_view name) -> RapClass* {
        if (index) {
            const auto found = index->find(name);
            return found == index->end() ? nullptr : found->second;
        }
        for (RapClass* entry = existing->firstChild(); entry; entry = entry->next())
            if (entry->hasName(name)) return entry;
        return nullptr;
    };

    for (RapClass* entry = incoming->firstChild(); entry; entry = entry->next()) {
        const std::string_view name = entry->nameView();
        if (name.empty()) {
            std::fputs("bad name\n", stderr);
            return -1;
        }
        if (entry->kind() == RapClass::DeleteKind) {
            MergeDeleteBody(entry);
            return -1;
        }
        RapClass* found = lookup(name);
        if (found == nullptr) {
            RapClass* copy = MergeAddClassRecurse(existing, entry, depth);
            if (copy == nullptr) return -1;
            if (index) index->emplace(copy->nameView(), copy);
            continue;
        }
        const int kind = entry->kind();
        const bool arrayLike = kind == RapClass::ArrayKind || kind == RapClass::ArrayAppendKind;
        if (RapClass::isValueKind(kind) || arrayLike) {
            // An array append is a kind of its own: it meets only an append of the same name.
            const bool sameFamily = arrayLike ? found->kind() == kind : RapClass::isValueKind(found->kind());
            if (!sameFamily) {
                std::fprintf(stderr, "type mismatch %s\n", entry->name());
                return -1;
            }
            found->setKind(kind);
            found->setText(entry->textView());
            if (arrayLike) {
                // A new array replaces the elements of the old one, as a later definition does.
                found->clearChildren();
                for (const RapClass* element = entry->firstChild(); element; element = element->next())
                    if (MergeAddClassRecurse(found, element, depth + 1) == nullptr) return -1;
            }
        } else if (kind == RapClass::ClassKind) {
            if (found->kind() == RapClass::ClassKind) {
                if (!NameEqual{}(found->textView(), entry->textView())) {
                    std::fprintf(stderr, "Inheritence mismatch %s:%s, is :%s\n", entry->name(), entry->text(),
                                 found->text());
                    return -1;
                }
                if (MergeScan(found, entry, depth + 1) != 0) return -1;
            } else if (found->kind() == RapClass::ExternKind) {
                found->setKind(RapClass::ClassKind);
                found->setText(entry->textView());
                for (const RapClass* child = entry->firstChild(); child; child = child->next())
                    if (MergeAddClassRecurse(found, child, depth + 1) == nullptr) return -1;
            } else {
                std::fprintf(stderr, "Mismatched type %s\n", entry->name());
                return -1;
            }
        } else if (kind == RapClass::ExternKind) {
            if (found->kind() != RapClass::ClassKind && found->kind() != RapClass::ExternKind) {
                std::fprintf(stderr, "extern %s has no body in config.bin\n", entry->name());
                return -1;
            }
        } else {
            std::fprintf(stderr, "Mismatched type %s\n", entry->name());
            return -1;
        }
    }
    return 0;
}

RapClass* Rapify::MergeAddClassRecurse(RapClass* into, const RapClass* entry, int depth) {
    if (depth > MaxClassDepth + MaxArrayDepth) {
        std::fputs("classes nested too deep to merge\n", stderr);
        return nullptr;
    }
    RapClass* copy = into->rapc_AddEmbeddedEntry(entry->kind());
    copy->setName(entry->nameView());
    copy->setText(entry->textView());
    for (const RapClass* child = entry->firstChild(); child; child = child->next())
        if (MergeAddClassRecurse(copy, child, depth + 1) == nullptr) return nullptr;
    return copy;
}

// Deletes are deliberately not carried into a merged tree.
void Rapify::MergeDeleteBody(RapClass*) {}

}  // namespace archivefile
