#include "archivefile/model/P3dFile.h"

#include <bit>
#include <cctype>
#include <cstdint>
#include <unordered_set>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/Guarded.h"

namespace archivefile {

namespace {

// Special LOD resolutions, matched on the exact bits of the float. The last three are odd values,
// but they are the ones that stand for those LODs.
struct LodName {
    std::uint32_t bits;
    const char* name;
};
constexpr LodName LodNames[] = {
    {0x447A0000, "View Gunner"},
    {0x44898000, "View Pilot"},
    {0x44960000, "View Cargo"},
    {0x461C4000, "Stencil Shadow"},
    {0x461C6800, "Stencil Shadow 2"},
    {0x462BE000, "Shadow Volume"},
    {0x462C0800, "Shadow Volume 2"},
    {0x551184E7, "Geometry"},
    {0x58635FA9, "Memory"},
    {0x58E35FA9, "Land Contact"},
    {0x592A87BF, "Roadway"},
    {0x59635FA9, "Paths"},
    {0x598E1BCA, "HitPoints"},
    {0x59AA87BF, "View Geometry"},
    {0x59C6F3B4, "Fire Geometry"},
    {0x59E35FA9, "View Cargo Geometry"},
    {0x59FFCB9E, "View Cargo Fire Geometry"},
    {0x5A0E1BCA, "View Commander"},
    {0x5A1C51C4, "View Commander Geometry"},
    {0x5A2A87BF, "View Commander Fire Geometry"},
    {0x5A38BDB9, "View Pilot Geometry"},
    {0x5A46F3B4, "View Pilot Fire Geometry"},
    {0x5A5529AF, "View Gunner Geometry"},
    {0x5A635FA9, "View Gunner Fire Geometry"},
    {0x5A7195A4, "Sub Parts"},
    {0x5A9536C7, "Wreck"},
    {0xCAFA8000, "Shadow Volume - View Cargo"},
    {0x8EAEE000, "Shadow Volume - View Pilot"},
    {0x37E08000, "Shadow Volume - View Gunner"},
};

// The type text of each kind that has one; the LOD count follows it.
const char* kindName(int kind) {
    switch (kind) {
    case 0: return "MLOD";
    case 1: case 2: return "";
    case 7: return "ODOL7";
    case 40: return "ODOL40 (kern)";
    case 43: return "ODOL43 (kern2a)";
    case 47: return "ODOL47 (kern2b)";
    case 48: return "ODOL48 (kern2c)";
    case 49: return "ODOL49 (qe)";
    case 50: return "ODOL50 (qe dlc)";
    case 52: return "ODOL52 (hkx)";
    case 56: return "ODOL56 (Kern3)";
    case 58: return "ODOL58 (Kern3)";
    case P3dHeader::KindOdolTrx2: return "ODOLTRX2";
    default: return nullptr;
    }
}

constexpr double Pi = 3.141592653589793;

}  // namespace

P3dFile::P3dFile(VexDLL* parent) : stream_(parent), parent_(parent) {}

// ---- Opening and reading -------------------------------------------------------------------------

template <class OpenInput>
int P3dFile::openWith(OpenInput&& openInput) {
    const int code = guarded(stream_, [&]() -> int {
        if (!openInput()) return GE_InvalidFile;
        // The bodies are read in place, which needs the whole file in memory.
        if (stream_.IsHuge() != 0) {
            stream_.Throw(GE_OutOfMemory, "P3dFile: '%s' is too large to be held in memory\r\n",
                          stream_.GetFileAndPath());
        }
        return Process();
    }, [] {});
    if (code != GE_NoError) Close();
    return code;
}

// Both of the stream's callbacks are set, so that every line of this operation, warnings included,
// goes to the caller of this operation and not to one from before.
void P3dFile::useCallback(LogCallback cb) {
    callback_ = cb != nullptr ? cb : VexFileIO::KeyPollCallBack;
    stream_.SetErrCallBack(callback_);
    stream_.SetCallBack(callback_);
}

int P3dFile::Open(const char* path, LogCallback cb) {
    useCallback(cb);
    Close();
    return openWith([&] {
        return path != nullptr && *path != '\0' && stream_.OpenFile(path, "p3d");
    });
}

int P3dFile::Open(const unsigned char* data, unsigned int length, LogCallback cb) {
    useCallback(cb);
    return openWith([&] {
        stream_.OpenPseudoFile(data, length);
        return data != nullptr || length == 0;
    });
}

int P3dFile::OpenHeaderOnly(const char* path) {
    Close();
    const int code = guarded(stream_, [&]() -> int {
        if (path == nullptr || *path == '\0' || !stream_.OpenFile(path, "p3d"))
            return GE_InvalidFile;
        return ReadHeader(&stream_) ? int{GE_NoError} : int{BadHeader};
    });
    stream_.CloseInput();
    return code;
}

void P3dFile::Close() {
    editable_.reset();
    binarised_.reset();
    stream_.CloseInput();
}

int P3dFile::Process() {
    // Bodies read before point into an image that is gone.
    editable_.reset();
    binarised_.reset();
    if (!ReadHeader(&stream_)) return BadHeader;
    GenString type;
    stream_.PrintToStdErr(GetTypeStr(&type));

    if (kind_ == KindSp3x || kind_ == KindSp3d) {
        lodCount_ = 1;
        editable_ = std::make_unique<MlodModel>();
        // The demonstration bodies are kept whole without being interpreted; that they leave bytes
        // over is expected.
        const int result = editable_->readDemonstration(stream_);
        return result == GE_ResidualBytes ? GE_NoError : result;
    }
    if (kind_ == KindMlod) {
        editable_ = std::make_unique<MlodModel>();
        const int result = editable_->Read(stream_, lodCount_);
        if (result != GE_NoError) return result;
        kind_ = editable_->kind();
        return GE_NoError;
    }
    if (IsMlod()) return Undecodable;

    binarised_ = std::make_unique<OdolModel>();
    const int result = binarised_->Read(stream_, lodCount_, kind_);
    if (result == OdolModel::Residue) {
        stream_.Throw(GE_NoError, "Warning: V7 residue of %d bytes\r\n", static_cast<int>(stream_.BytesRemaining()));
        return GE_NoError;
    }
    if (result == OdolModel::Truncated) {
        // The figure is 24 less the bytes left, as it has always been reported.
        stream_.Throw(GE_NoError, "Warning: V7 truncated file by %d bytes\r\n",
                      24 - static_cast<int>(stream_.BytesRemaining()));
        stream_.MoveTo(stream_.size());
        return GE_NoError;
    }
    return result;
}

// ---- Questions about the model -------------------------------------------------------------------

int P3dFile::IsMlod() const {
    return kind_ == 0 || kind_ == 1 || kind_ == 2 || kind_ == KindSp3x || kind_ == KindSp3d;
}

const char* P3dFile::GetTypeStr(GenString* out) const {
    if (kind_ == KindSp3x) return out->Format("TGR DEMO SP3X\r\n");
    if (kind_ == KindSp3d) return out->Format("TGR DEMO SP3D\r\n");
    const char* name = kindName(kind_);
    if (name == nullptr) {
        out->Clear();
        return "";
    }
    return out->Format("%s nLods=%d\r\n", name, lodCount_);
}

float P3dFile::GetResolution(int lod) const {
    if (binarised_) return binarised_->resolution(lod);
    if (editable_) return editable_->resolution(lod);
    return 0.0f;
}

const char* P3dFile::lodName(float resolution) {
    const auto bits = std::bit_cast<std::uint32_t>(resolution);
    for (const LodName& entry : LodNames)
        if (entry.bits == bits) return entry.name;
    return "";
}

const char* P3dFile::LodTypeStr(int lod) {
    const float resolution = GetResolution(lod);
    return lodText_.Format("%s %s", GenString::floatText(resolution).c_str(), lodName(resolution));
}

const char* P3dFile::CalcRadian(GenString* out, float value) const {
    const auto degrees = static_cast<float>(static_cast<double>(value) * 180.0 / Pi);
    return out->Format("%s;//rad %s", GenString::floatText(value).c_str(), GenString::floatText(degrees).c_str());
}

std::vector<std::string> P3dFile::GetP3dFilenames() const {
    std::vector<std::string> names;
    if (!editable_) return names;
    std::unordered_set<std::string> seen;
    for (const MlodModel::Lod& lod : editable_->lods()) {
        for (const MlodModel::Face& face : lod.faces) {
            for (const std::string_view name : {face.texture, face.material}) {
                if (name.empty()) continue;
                std::string key(name);
                for (char& c : key) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
                if (seen.insert(std::move(key)).second) names.emplace_back(name);
            }
        }
    }
    return names;
}

// ---- Writing -------------------------------------------------------------------------------------

int P3dFile::CreateP3d(int kind, const char* path) {
    // The model read stays open whatever happens to the file being written.
    return guarded(stream_, [&]() -> int {
        if (path == nullptr || *path == '\0' || !stream_.CreateFileA(path, "p3d")) return GE_InvalidFile;
        if (!WriteHeader(&stream_, kind) || (!editable_ && !binarised_)) {
            stream_.abandonOutput();
            return Undecodable;
        }
        if (editable_) editable_->Write(stream_);
        else binarised_->Write(stream_);
        stream_.CloseOutput();
        return GE_NoError;
    }, [] {});
}

const char* P3dFile::ErrorString(unsigned char code) const {
    switch (code) {
    case Compression: return "P3D: compression";
    case Undecodable: return "P3D: undecodable";
    case StringTooLong: return "P3D: str exceeds 32";
    case WrongHeaderType: return "P3D: wrong hdr type specified";
    case UnknownTagg: return "P3D: unknown tagg";
    case MassTagg: return "P3D: tagg mass missing or replicated";
    case NormalsMismatch: return "P3D: normals count mismatch";
    case SharpEdgesRepeated: return "P3D: Sharp edges repeated in same lod";
    case BadFrameCount: return "P3D: bad frame count";
    case VertexMiscount: return "P3D: P3DERR_VERTEX_MISCOUNT";
    case ProxyNameMismatch: return "P3D: Proxyname mismatch";
    case EdgesMiscount: return "P3D: edges miscount";
    case BadHeader: return "P3D: bad header";
    case ExcessBytes: return "P3D: excess bytes in V7modelinfo";
    case TruncatedBytes: return "P3D: truncated bytes in V7modelinfo";
    default: return GenericError::ErrorString(code);
    }
}

}  // namespace archivefile
