#include "archivefile/config/RapClass.h"

#include "archivefile/config/Rapify.h"

namespace archivefile {

bool RapClass::hasName(std::string_view wanted) const {
    // Names are ASCII words; folding only A to Z keeps this independent of the process locale.
    const auto fold = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; };
    std::size_t i = 0;
    for (; i < wanted.size(); ++i)
        if (name_[i] == '\0' || fold(name_[i]) != fold(wanted[i])) return false;
    return name_[i] == '\0';
}

void RapClass::setName(std::string_view name) { name_ = owner_->internText(name); }

void RapClass::setText(std::string_view text) { text_ = owner_->internText(text); }

void RapClass::adoptChild(RapClass* child) {
    // Nodes appended to the chain with rapc_AppendEntry are not known here; the end is found from
    // the last child embedded, which is normally the end already.
    while (lastChild_ && lastChild_->next_) lastChild_ = lastChild_->next_;
    child->parent_ = this;
    child->previous_ = lastChild_;
    child->next_ = nullptr;
    if (lastChild_) lastChild_->next_ = child;
    else firstChild_ = child;
    lastChild_ = child;
}

RapClass* RapClass::rapc_AppendEntry(int kind) {
    RapClass* last = this;
    while (last->next_) last = last->next_;
    RapClass* node = owner_->CreateRapClass(kind);
    node->previous_ = last;
    last->next_ = node;
    node->parent_ = this;
    return node;
}

RapClass* RapClass::rapc_AddEmbeddedEntry(int kind) {
    RapClass* node = owner_->CreateRapClass(kind);
    adoptChild(node);
    return node;
}

RapClass* RapClass::AppendClass(const char* name, const char* inherited) {
    RapClass* node = rapc_AddEmbeddedEntry(ClassKind);
    node->setName(name ? name : "");
    node->setText(inherited ? inherited : "");
    return node;
}

}  // namespace archivefile
