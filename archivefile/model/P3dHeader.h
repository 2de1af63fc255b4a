// The short header that every model file begins with: its signature, its version (which is the kind
// of a binarised model), the prefix text of kind 58, and the LOD count. P3dFile begins with one, so
// these operations work on the model handler itself.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "archivefile/foundation/Export.h"

namespace archivefile {

class VexFileIO;

/// The header every model file begins with: signature, kind, kind-58 prefix and LOD count.
class ARCHIVEFILE_EXPORT P3dHeader {
public:
    /// Model kinds: the version word of a binarised model, or one of the editable forms.
    static constexpr int KindMlod = 0;
    static constexpr int KindOdol7 = 7;
    static constexpr int KindOdol58 = 58;
    static constexpr int KindSp3x = 9999;
    static constexpr int KindSp3d = 10000;
    static constexpr int KindOdolTrx2 = 10043;
    /// The version word of every editable model.
    static constexpr std::int32_t MlodVersion = 257;
    /// As a kind argument: the header's own kind.
    static constexpr int OwnKind = -1;

    /// Reads the header at the stream's position; true when the file is a model of a known kind.
    bool ReadHeader(VexFileIO* f);
    /// Writes the header of `kind` (OwnKind: the header's own) with the header's LOD count; always true.
    bool WriteHeader(VexFileIO* f, int kind);
    /// Whether `kind` (OwnKind: the header's own) is binarised, and whether it is a later binarised
    /// generation (kinds above 7).
    bool IsOdol(int kind) const;
    /// Whether `kind` is a later binarised generation.
    bool IsKernOdol(int kind) const;
    /// 0 editable, 3 the first binarised generation, 4 and 5 the later ones, -1 unknown.
    int GetP3DFamily(int kind) const;

    /// The prefix text that kind-58 models carry. It is not the header's own: it is the one read last,
    /// and every kind-58 header written carries it, so a model read after another changes what the
    /// next written model says. Each thread has its own, so that hosts that run one root per thread
    /// (one per input of a batch) never see a prefix read by another; a program with one thread has
    /// one value for the whole process.
    static const std::string& k3Prefix();
    /// Sets the prefix that kind-58 headers written from now on carry.
    static void setK3Prefix(std::string prefix);
    /// Where ReadHeader prints the "K3Prefix: %s\n" line of a non-empty prefix: standard output unless
    /// a host sets another stream, or null for none (a tool writing JSON to standard output does). The
    /// stream is one for the whole process.
    static void setK3PrefixOutput(std::FILE* stream);

protected:
    /// The header's own kind for OwnKind, else `kind`.
    int resolvedKind(int kind) const { return kind == OwnKind ? kind_ : kind; }

    std::int32_t lodCount_ = 0;
    std::int32_t kind_ = KindMlod;
};

}  // namespace archivefile
