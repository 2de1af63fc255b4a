// Texture index files (signature "0DHT"): one description per texture file, each a
// fixed 54-byte header, the texture's path and a table of its mipmaps. Reading checks every constant
// field and gives a distinct code for each kind of violation; the entries stay in place in the
// stream's buffer and are only located and checked.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "archivefile/foundation/Export.h"
#include "archivefile/foundation/VexFileIO.h"

namespace archivefile {

class VexDLL;

/// The texture-index handler ("0DHT"): reads an index and checks every constant field of every entry.
/// 0 or one of Errors (or a shared code), whose text ErrorString gives.
class ARCHIVEFILE_EXPORT TexFile {
public:
    /// The handler's own result codes; 0 to 9 are the shared ones.
    enum Errors : int {
        NotIndex = 10,
        ResidualBytes = 11,
        Always0At4 = 12,
        Always0At32 = 13,
        Always1 = 14,
        AlwaysDefault = 15,
        Always257 = 16,
        MipmapNot0 = 17,
        MipmapCountsDiffer = 18,
    };

    /// One texture's description, pointing into the stream's buffer (valid while the index is open).
    struct Entry {
        static constexpr std::size_t HeaderSize = 54;
        static constexpr std::size_t MipmapSize = 12;
        const unsigned char* header;
        const char* path;
        std::int32_t smallCount;
        std::int32_t mipmapCount;
        const unsigned char* mipmaps;
        std::uint32_t trailing;
        /// The pixel format code of the header: 1, 4, 6 or 10.
        std::uint32_t pixelFormat() const;
    };
    using Body = std::vector<Entry>;

    /// A handler of the root `parent`.
    explicit TexFile(VexDLL* parent);
    ~TexFile();
    TexFile(const TexFile&) = delete;
    TexFile& operator=(const TexFile&) = delete;
    /// The root the handler belongs to.
    VexDLL* parent() const { return parent_; }

    /// Reads an index from `data` when it is non-null, else from `path` (extension "bin" when the
    /// name has none). 0 or a code; a failed read leaves the index closed.
    int OpenTex(const char* path, const unsigned char* data, unsigned int length);
    /// The entries of the index open.
    const Body* GetTexBody() const;
    /// Forgets the index read.
    void Close();
    /// The text of `code`: one of Errors or a shared code.
    const char* ErrorString(int code) const;
    /// Where the lines of a refused pixel format or small count go, errors included (by default
    /// standard error).
    void SetCallBack(LogCallback callback);

private:
    class Inner;
    VexDLL* parent_;
    std::unique_ptr<Inner> inner_;
};

using TexBody = TexFile::Body;

}  // namespace archivefile
