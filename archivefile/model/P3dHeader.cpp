#include "archivefile/model/P3dHeader.h"

#include <atomic>
#include <string_view>

#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/VexFileIO.h"

namespace archivefile {

namespace {

std::string& threadPrefix() {
    thread_local std::string prefix;
    return prefix;
}

std::atomic<std::FILE*>& prefixOutput() {
    static std::atomic<std::FILE*> stream{stdout};
    return stream;
}

}  // namespace

const std::string& P3dHeader::k3Prefix() { return threadPrefix(); }

void P3dHeader::setK3Prefix(std::string prefix) { threadPrefix() = std::move(prefix); }

void P3dHeader::setK3PrefixOutput(std::FILE* stream) { prefixOutput() = stream; }

bool P3dHeader::ReadHeader(VexFileIO* f) {
    const std::string_view signature(f->GetMimeSignature(), 4);
    // The demonstration forms carry nothing after their signature; their reader takes it back.
    if (paths::equalIgnoringCase(signature, "SP3X") || paths::equalIgnoringCase(signature, "SP3D")) {
        kind_ = paths::equalIgnoringCase(signature, "SP3X") ? KindSp3x : KindSp3d;
        f->AddOffset(-4);
        return true;
    }
    const std::int32_t version = f->ReadLong();
    if (version == KindOdol58) {
        setK3Prefix(f->IsHuge() ? f->ReadAsciizH() : std::string(f->ReadAsciiz()));
        std::FILE* const output = prefixOutput().load();
        if (!k3Prefix().empty() && output != nullptr) std::fprintf(output, "K3Prefix: %s\n", k3Prefix().c_str());
    }
    lodCount_ = f->ReadLong();
    if (paths::equalIgnoringCase(signature, "MLOD")) {
        kind_ = KindMlod;
        if (version == MlodVersion) return true;
        // Editable models of another version were once told apart by a float 1.1 here. No float
        // widens to exactly 1.1, so the test refuses them all; it stays as it always was.
        f->AddOffset(-8);
        const float first = f->ReadFloat();
        f->ReadFloat();
        return static_cast<double>(first) == 1.1;
    }
    if (paths::equalIgnoringCase(signature, "ODOL")) {
        kind_ = version;
        return IsOdol(kind_);
    }
    return false;
}

bool P3dHeader::WriteHeader(VexFileIO* f, int kind) {
    kind = resolvedKind(kind);
    if (kind > 2) {
        f->WriteChars("ODOL");
        f->WriteLong(kind);
    } else {
        f->WriteChars("MLOD");
        f->WriteLong(MlodVersion);
    }
    if (kind == KindOdol58) f->WriteAsciiz(k3Prefix().c_str());
    f->WriteLong(lodCount_);
    return true;
}

bool P3dHeader::IsOdol(int kind) const {
    switch (resolvedKind(kind)) {
    case 7: case 40: case 43: case 47: case 48: case 49: case 50: case 52: case 56: case 58: case KindOdolTrx2:
        return true;
    default:
        return false;
    }
}

bool P3dHeader::IsKernOdol(int kind) const {
    kind = resolvedKind(kind);
    return IsOdol(kind) && kind != KindOdol7;
}

int P3dHeader::GetP3DFamily(int kind) const {
    switch (resolvedKind(kind)) {
    case 0: case 1: case 2: return 0;
    case 7: return 3;
    case 40: case 43: case KindOdolTrx2: return 4;
    case 47: case 48: case 49: case 50: case 52: case 56: case 58: return 5;
    default: return -1;
    }
}

}  // namespace archivefile
