// ARCHIVEFILE_EXPORT marks the classes that make up the library's interface. The library is compiled
// with hidden visibility, so that the shared library exports these and nothing of its inner workings:
// programs link against a small, stable set of symbols, and the internals may change freely.
#pragma once

#define ARCHIVEFILE_EXPORT [[gnu::visibility("default")]]
