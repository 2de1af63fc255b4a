// Creation of a handler for the root: a handler that cannot be allocated is left null and the root
// goes on without it, as callers of the root expect.
#pragma once

#include <memory>
#include <new>

namespace archivefile {

class VexDLL;

template <class HandlerClass>
std::unique_ptr<HandlerClass> createHandler(VexDLL* root) {
    try {
        return std::make_unique<HandlerClass>(root);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace archivefile
