// One node of a config class tree. Every entry of a config is a node: a class (with a body, extern
// or deleted), a value, an array, or an element of an array. The entries of one body form a chain of
// siblings in declaration order, which is the order the binarised form keeps.
#pragma once

#include <string_view>

#include "archivefile/foundation/Export.h"

namespace archivefile {

class Rapify;

/// One node of a config class tree: a class, a value, an array or an array element, linked to its
/// siblings in declaration order and to its children. Nodes are made and owned by a Rapify.
class ARCHIVEFILE_EXPORT RapClass {
public:
    /// The kind numbers are those the raP writer dispatches on.
    enum Kind : int {
        ClassKind = 0,
        UntypedValueKind = 1,  ///< a plain value that the parser has not typed yet
        ArrayKind = 2,
        ExternKind = 3,
        DeleteKind = 4,
        ArrayAppendKind = 5,   ///< `name[] += {...};`: elements added to the inherited array
        StringKind = 256,
        FloatKind = 257,
        IntKind = 258,
    };

    /// A node of `kind` owned by `owner` (Rapify::CreateRapClass makes them).
    RapClass(Rapify* owner, int kind) : kind_(kind), owner_(owner) {}
    RapClass(const RapClass&) = delete;
    RapClass& operator=(const RapClass&) = delete;

    /// @name Navigation
    //@{
    /// The next and previous sibling, the first child, the parent, the owner, and the name; null where
    /// there is none. A node's name and text are never null; an array element has an empty name.
    RapClass* next() const { return next_; }
    RapClass* previous() const { return previous_; }
    RapClass* firstChild() const { return firstChild_; }
    RapClass* parent() const { return parent_; }
    Rapify* owner() const { return owner_; }
    const char* name() const { return name_; }
    //@}
    /// The inherited class of a class, the value text of a value or element. The text of an int is
    /// its value in decimal digits (hexadecimal in the config is turned into them); the text of a
    /// float is the number as written, which std::from_chars reads.
    const char* text() const { return text_; }
    /// The name and the text as views.
    std::string_view nameView() const { return name_; }
    std::string_view textView() const { return text_; }
    /// The node's Kind.
    int kind() const { return kind_; }

    /// Whether the node is a class with a body, an array, or a value of any type.
    bool isClass() const { return kind_ == ClassKind; }
    bool isArray() const { return kind_ == ArrayKind; }
    bool isValue() const { return isValueKind(kind_); }
    /// Whether `kind` is one of the value kinds.
    static bool isValueKind(int kind) {
        return kind == UntypedValueKind || kind == StringKind || kind == FloatKind || kind == IntKind;
    }
    /// Names compare without regard to case.
    bool hasName(std::string_view name) const;

    /// Edits. Texts are copied into the owner's storage, which lives as long as the tree.
    void setName(std::string_view name);
    /// Sets the text (copied into the owner's storage), or the kind.
    void setText(std::string_view text);
    void setKind(int kind) { kind_ = kind; }

    /// Builders. Every node is made by the owner and lives until the owner closes its trees; failing
    /// to allocate one raises code 2.
    ///
    /// Adds a node after the last node of this node's sibling chain. The new node's parent field is
    /// this node, the node it was appended from (callers that build bodies use the embedded form).
    RapClass* rapc_AppendEntry(int kind);
    /// Adds a node as the last child of this node.
    RapClass* rapc_AddEmbeddedEntry(int kind = ClassKind);
    /// Adds a class with a body as the last child of this node; an empty `inherited` means no base.
    RapClass* AppendClass(const char* name, const char* inherited = nullptr);

    /// Links an existing node, made by the same owner, as the last child of this one.
    void adoptChild(RapClass* child);
    /// Unlinks every child; the nodes stay with the owner until it closes its trees.
    void clearChildren() { firstChild_ = lastChild_ = nullptr; }

private:
    // Trees of real configs have millions of nodes, so a node holds its texts as pointers into
    // the owner's storage rather than as strings of its own, and stays trivially destructible.
    RapClass* next_ = nullptr;
    RapClass* previous_ = nullptr;
    const char* name_ = "";
    const char* text_ = "";
    int kind_;
    RapClass* firstChild_ = nullptr;
    Rapify* owner_;
    RapClass* parent_ = nullptr;
    // Where the last embedding ended the chain of children: appending stays constant-time in
    // bodies of any size.
    RapClass* lastChild_ = nullptr;
};

}  // namespace archivefile
