// Textures (.paa, .pac): a type word, taggs of metadata, an optional palette and a list of mipmaps whose
// pixel blocks may be compressed. Reading lists what it finds, one line a tagg and one a mipmap, and
// checks that the taggs suit the type (PacRead.cpp); CreatePac writes the texture back (PacWrite.cpp);
// PacImage.cpp turns mipmaps into RGBA images and RGBA images into a texture with its mipmaps.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "archivefile/foundation/Export.h"
#include "archivefile/foundation/GenString.h"
#include "archivefile/foundation/VexFileIO.h"

namespace archivefile {

class VexDLL;
class TextureImage;

/// The texture handler (.paa, .pac): reads a texture and lists it through the callback, checks its
/// taggs and mipmaps, writes it back, decodes mipmaps to RGBA and makes textures from images. 0 or
/// one of Errors (or a shared code), whose text ErrorString gives.
class ARCHIVEFILE_EXPORT PacFile {
public:
    /// The handler's own results; the shared codes 0 to 9 keep their meaning.
    enum Errors : int {
        UnknownFormat = 10,
        UnknownTagg = 11,
        InvalidTag = 12,
        NoOffsetTagg = 13,
        NoEndingZeroes = 14,
        MipMapCountExceeded = 15,
        BadCompression = 16,
        TagRepeated = 17,
        BadTagLength = 18,
        MipMapExtraNonZeros = 19,
    };

    /// What Open gives for a texture whose type the filter leaves out: not an error, the file was skipped.
    static constexpr int Skipped = -1;

    /// The type words. An index texture has none: its first tagg's "GG" reads as 0x4747. Any other
    /// first word makes the old form without a type word, type 0.
    static constexpr int TypeDemo = 0;
    static constexpr int TypeDxt1 = 0xFF01;
    static constexpr int TypeDxt2 = 0xFF02;
    static constexpr int TypeDxt3 = 0xFF03;
    static constexpr int TypeDxt4 = 0xFF04;
    static constexpr int TypeDxt5 = 0xFF05;
    static constexpr int TypeArgb4444 = 0x4444;
    static constexpr int TypeArgb1555 = 0x1555;
    static constexpr int TypeArgb8888 = 0x8888;
    static constexpr int TypeGrey = 0x8080;
    static constexpr int TypeIndexed = 0x4747;

    /// A tagg holding one 32-bit value (AVGC, MAXC, FLAG, SWIZ).
    struct Tagg {
        std::int32_t present = 0;
        std::uint32_t value = 0;

        /// Reads the payload length and the value: 17 when the tagg was read before, 18 for a length
        /// other than 4, else 0.
        int Read(VexFileIO* stream);
        /// Writes the tagg under `name` when present.
        void Write(VexFileIO* stream, const char* name) const;
    };

    /// The procedure text, stored without a terminator.
    struct ProcTagg {
        std::int32_t present = 0;
        GenString text;

        /// 17 when read before, 18 for a length below 2, else 0.
        int Read(VexFileIO* stream);
        /// 18, writing nothing, for a text shorter than 2; else 0.
        int Write(VexFileIO* stream) const;
    };

    /// The file positions of up to 16 mipmap records. The offsets are copied out of the file: they are
    /// 64 bytes, and a copy stays valid and aligned whatever happens to the file image.
    struct OFFSTagg {
        std::int32_t present = 0;
        std::int32_t count = 0;
        std::array<std::uint32_t, 16> offsets{};

        /// 17 when read before, 18 for a length other than 64, 19 for a non-zero offset after the first
        /// zero, else 0. The count is the index of the first zero; with none it is 15, not 16.
        int Read(VexFileIO* stream);
        /// Writes the tagg when present.
        void Write(VexFileIO* stream) const;
    };

    /// Colour triplets (red, green, blue) of an index texture, in place in the file image: valid while
    /// the file is open.
    struct Palette {
        std::int32_t present = 0;
        std::uint16_t count = 0;
        const std::uint8_t* triplets = nullptr;

        /// 17 when a palette was read before, else 0.
        int Read(VexFileIO* stream, int count);
        /// The count and the triplets; a texture without a palette writes a count of 0.
        void Write(VexFileIO* stream) const;
    };

    /// One mipmap: its size, flags, and the block as stored and as expanded.
    class MipMap {
    public:
        MipMap() = default;
        /// @name Moving; a mipmap is never copied
        //@{
        /// Moves the mipmap, its blocks with it.
        MipMap(MipMap&&) noexcept = default;
        MipMap& operator=(MipMap&&) noexcept = default;
        //@}
        MipMap(const MipMap&) = delete;
        MipMap& operator=(const MipMap&) = delete;

        std::uint16_t width = 0;    ///< without the compressed bit
        std::uint16_t height = 0;
        bool marker = false;        ///< stored in the 1234 x 8765 form
        bool compressed = false;    ///< bit 15 of the stored width

        /// The block as it is in the file, and the pixels it expands to (the real size of the type).
        std::span<const std::uint8_t> stored() const { return stored_; }
        /// The expanded block.
        std::span<const std::uint8_t> pixels() const { return pixels_; }

        /// Expands `stored` (kept in place, in the file image) into `realSize` bytes with the block
        /// coder's `selector`; false when it cannot. The size is checked before anything is allocated.
        bool expand(std::span<const std::uint8_t> stored, std::uint64_t realSize, unsigned selector);
        /// A block made here: the mipmap keeps both.
        void setBlock(std::vector<std::uint8_t> stored, std::span<const std::uint8_t> pixels);

    private:
        friend class PacFile;
        std::size_t position_ = 0;  // in the list
        std::vector<std::uint8_t> ownedStored_;
        // Not a vector: a block is expanded over memory that nothing needs to clear first.
        std::unique_ptr<std::uint8_t[]> expanded_;
        std::span<const std::uint8_t> stored_;
        std::span<const std::uint8_t> pixels_;
    };

    /// The mipmaps of a texture, in file order.
    class MipMaps {
    public:
        MipMaps() = default;
        virtual ~MipMaps() = default;
        MipMaps(const MipMaps&) = delete;
        MipMaps& operator=(const MipMaps&) = delete;

        /// Adds a mipmap at the end; returns it.
        MipMap* AddChain(MipMap mipmap);
        /// @name Walking the list
        //@{
        /// The first and the last mipmap, and the one after or before `mipmap`; null past either end.
        MipMap* GetChain() const { return GetFirst(); }
        MipMap* GetFirst() const;
        MipMap* GetLast() const;
        MipMap* GetNext(const MipMap* mipmap) const;
        MipMap* GetPrevious(const MipMap* mipmap) const;
        //@}
        /// How many mipmaps there are; and forgetting them all.
        std::size_t size() const { return list_.size(); }
        void clear() { list_.clear(); }

        /// Reads records until the end record, listing each: 0, 15 when the records do not sit where
        /// `offsets` says or outnumber its count, 16 for a block that does not expand.
        int ReadMipMaps(VexFileIO* stream, int type, const OFFSTagg& offsets);
        /// The records as read, then the end record.
        void WriteMipMaps(VexFileIO* stream) const;

    private:
        // Pointers handed out stay valid while the list grows: every mipmap has its own allocation.
        std::vector<std::unique_ptr<MipMap>> list_;
    };

    /// How hard the DXT block coder works when a texture is made from an image.
    enum class Quality { Fast, Normal, Best };

    /// A handler of the root `parent`.
    explicit PacFile(VexDLL* parent);
    ~PacFile();
    PacFile(const PacFile&) = delete;
    PacFile& operator=(const PacFile&) = delete;

    /// Opens a texture file (a name without extension is looked for with ".pac", then ".paa") or one
    /// held in memory, and reads it through, listing it to `callback`. 0, Skipped when `typeFilter` is
    /// not 0 and lacks the type's bit, or a code. After a success the texture stays open until Close.
    int Open(const char* path, LogCallback callback, int typeFilter = 0);
    /// The same for a texture in memory, `length` bytes at `data`, which must outlive the texture.
    int Open(const unsigned char* data, int length, LogCallback callback, int typeFilter = 0);
    /// Forgets the texture read.
    void Close();

    /// Writes the texture (".paa" is added to a name without extension): the type word, the taggs in a
    /// fixed order, the palette and the mipmaps as read. The file is replaced only once complete. 0, 6
    /// when the output cannot be made, or 18 for a procedure text shorter than 2.
    int CreatePac(const char* path);

    /// The name of a type word ("DXT5", "ARGB4444", ...).
    static const char* GetTypeStr(int type);
    /// The bit that selects `type` in a type filter; 0 for type 0 and for words that are no type.
    static int typeFilterBit(int type);
    /// The text of `code`: one of Errors or a shared code.
    const char* ErrorString(int code) const;

    /// @name The texture read
    //@{
    /// Its type word, taggs, palette and mipmaps.
    int type() const { return type_; }
    const Tagg& avgc() const { return AVGC_; }
    const Tagg& maxc() const { return MAXC_; }
    const Tagg& swiz() const { return SWIZ_; }
    const Tagg& flag() const { return FLAG_; }
    const ProcTagg& proc() const { return PROC_; }
    const OFFSTagg& offs() const { return OFFS_; }
    const Palette& palette() const { return palette_; }
    const MipMaps& mipMaps() const { return mipMaps_; }
    //@}
    /// Why the last Open ended with the shared code 4: the tagg rule of the type that was broken.
    const char* typeRuleBroken() const { return typeRuleBroken_; }
    /// The root the handler belongs to.
    VexDLL* parent() const { return parent_; }

    /// The RGBA pixels of one mipmap of an open texture (DXT1, DXT5, ARGB4444, ARGB1555, GREY and index
    /// textures): 0, or 10 with a line to `callback` saying why the mipmap cannot be shown. The texture's
    /// own lines keep going to the callback it was opened with.
    int decodeImage(const MipMap& mipmap, TextureImage& image, LogCallback callback);
    /// Replaces the texture with `image` stored as `type` (DXT1, DXT5, ARGB4444, ARGB1555 or GREY), with
    /// mipmaps halved in linear light down to 4 x 4 and the AVGC, MAXC, OFFS (and, for an image with
    /// alpha, FLAG) taggs; the sides must be powers of two from 4 to 16384. 0, or 10 with a line saying
    /// why. CreatePac then writes it.
    int buildFromImage(const TextureImage& image, int type, Quality quality = Quality::Normal,
                       LogCallback callback = nullptr);
    /// Whether buildFromImage takes an image of this size.
    static bool canBuildFrom(std::uint32_t width, std::uint32_t height);

private:
    // What ReadTagg gives when the list of taggs has ended.
    static constexpr int EndOfTaggs = -1;

    int Process(LogCallback callback, int typeFilter);
    void Clear();
    int ReadTagg(int& paletteCount);
    int ProcessAVGC();
    int ProcessMAXC();
    int ProcessFLAG();
    int ProcessSWIZ();
    int ProcessPROC();
    int ProcessOFFS();
    void checkTaggsSuitType();
    // Runs `body` on a cleared texture, with `callback` for its lines; a failed body leaves it closed.
    int replaceWith(LogCallback callback, const std::function<int()>& body);
    // Where the stream sends every line from now on.
    void sendLinesTo(LogCallback callback);

    VexDLL* parent_;
    std::uint16_t type_ = TypeDemo;
    VexFileIO stream_;
    Tagg AVGC_;
    Tagg MAXC_;
    Tagg SWIZ_;
    Tagg FLAG_;
    ProcTagg PROC_;
    OFFSTagg OFFS_;
    Palette palette_;
    MipMaps mipMaps_;
    LogCallback callback_ = nullptr;
    const char* typeRuleBroken_ = "";
};

}  // namespace archivefile
