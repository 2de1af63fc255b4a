// Model files (.p3d): the handler reads the header, decides the kind of model, hands the body to the
// editable-model or the binarised-model reader, and answers questions about the kind and the levels
// of detail (LODs) in the words that tools print. It writes models back as well.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "archivefile/foundation/Export.h"
#include "archivefile/foundation/GenString.h"
#include "archivefile/foundation/VexFileIO.h"
#include "archivefile/model/MlodModel.h"
#include "archivefile/model/OdolModel.h"
#include "archivefile/model/P3dHeader.h"

namespace archivefile {

class VexDLL;

/// The model handler (.p3d): reads the header and the body of an editable or binarised model and
/// answers questions about its kind and LODs. 0 or one of Errors (or a shared code), whose text
/// ErrorString gives.
class ARCHIVEFILE_EXPORT P3dFile : public P3dHeader {
public:
    /// The handler's own result codes; 0 to 9 are the shared ones.
    enum Errors : int {
        Compression = 10,
        Undecodable = 11,
        StringTooLong = 12,
        WrongHeaderType = 13,
        UnknownTagg = 14,
        MassTagg = 15,
        NormalsMismatch = 16,
        SharpEdgesRepeated = 17,
        BadFrameCount = 18,
        VertexMiscount = 19,
        ProxyNameMismatch = 20,
        EdgesMiscount = 21,
        BadHeader = 22,
        ExcessBytes = 23,
        TruncatedBytes = 24,
    };

    /// A handler of the root `parent`.
    explicit P3dFile(VexDLL* parent);
    /// The root the handler belongs to.
    VexDLL* parent() const { return parent_; }

    /// Opens a model file (extension "p3d" when the name has none) or a caller's memory block, reads
    /// it and reports its kind through `cb` (the library's default when null). 0 or a code; after a
    /// failure both bodies are gone and the header keeps what was read.
    int Open(const char* path, LogCallback cb);
    /// The same for a model in memory, `length` bytes at `data`, which must outlive the reading.
    int Open(const unsigned char* data, unsigned int length, LogCallback cb);
    /// Reads the header alone: 0, 3 when the file cannot be opened, 22 when the header is bad.
    int OpenHeaderOnly(const char* path);
    /// Forgets the model read.
    void Close();

    /// The model's kind (a KindXxx value or a binarised version) and its LOD count.
    int GetType() const { return kind_; }
    /// The LOD count of the header.
    unsigned int GetLodCount() const { return static_cast<unsigned int>(lodCount_); }
    /// 1 for an editable model, else 0; IsOdol and UnBinarised ask the same the other way and alike.
    int IsMlod() const;
    /// Whether a kind is binarised, as P3dHeader gives it.
    using P3dHeader::IsOdol;
    /// 1 for a binarised model.
    int IsOdol() const { return !IsMlod(); }
    /// 1 for an editable model.
    int UnBinarised() const { return IsMlod(); }
    /// The kind's text, with the LOD count for most kinds ("MLOD nLods=3\r\n"); empty, with `out`
    /// cleared, for an unknown kind.
    const char* GetTypeStr(GenString* out) const;
    /// The LOD's resolution; 0.0 for a LOD that is not there (and for every LOD of kind 7).
    float GetResolution(int lod) const;
    /// The LOD's resolution as exact float text, a blank, and the name of a special resolution (empty
    /// for a graphical LOD). Valid until the next call.
    const char* LodTypeStr(int lod);
    /// "%s;//rad %s": an angle and the same angle in degrees, as model properties are written as text.
    const char* CalcRadian(GenString* out, float value) const;
    /// Writes the model read last to `path` (extension "p3d" when the name has none) as a model of
    /// `kind`. 0; 3 when the file cannot be created; 11 when there is no body to write.
    int CreateP3d(int kind, const char* path);
    /// The text of `code`: one of Errors or a shared code.
    const char* ErrorString(unsigned char code) const;

    /// The bodies read, when present.
    const MlodModel* GetMLodPtr() const { return editable_.get(); }
    /// The binarised body, when one was read.
    const OdolModel* GetOdolPtr() const { return binarised_.get(); }
    /// The textures and materials that the faces of an editable model name, each once, in the order
    /// they first appear; empty for other models.
    std::vector<std::string> GetP3dFilenames() const;

    /// The name of a special LOD resolution, matched on the exact bits of the float; empty for others.
    static const char* lodName(float resolution);

private:
    int Process();
    void useCallback(LogCallback cb);
    template <class OpenInput>
    int openWith(OpenInput&& openInput);

    LogCallback callback_ = nullptr;
    VexFileIO stream_;
    std::unique_ptr<MlodModel> editable_;
    std::unique_ptr<OdolModel> binarised_;
    VexDLL* parent_;
    GenString lodText_;
};

}  // namespace archivefile
