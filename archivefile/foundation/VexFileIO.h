// The binary file stream on which every reader and writer sits: a whole input file held in memory and
// parsed in place by offset (or, for inputs too large to hold, read piecemeal from the open file),
// one output file open for update, little-endian reads and writes, and the log and error callbacks.
#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "archivefile/foundation/Export.h"
#include "archivefile/foundation/FileString.h"
#include "archivefile/foundation/GenString.h"
#include "archivefile/foundation/SharedTypes.h"

namespace archivefile {

class VexDLL;

/// The log callback of every long operation. The library formats every message itself and passes the
/// finished text as the only argument; lines end in "\r\n" and the result is not looked at. Raising code 9
/// (GE_UserCancelled) inside it cancels the operation.
using LogCallback = bool (*)(const char* format, ...);

/// The binary file stream under every reader and writer: one input held in memory (or read piece by
/// piece when huge) and parsed by offset, one output written through a temporary file, little-endian
/// values both ways, and the callbacks through which messages go. Reads past the input raise 1
/// ("Premature EOF"); writes that fail raise 6.
class ARCHIVEFILE_EXPORT VexFileIO {
public:
    /// A stream with no root: banners then carry the library's own version.
    VexFileIO();
    /// A stream of a handler of `parent`.
    explicit VexFileIO(VexDLL* parent);
    ~VexFileIO();
    VexFileIO(const VexFileIO&) = delete;
    VexFileIO& operator=(const VexFileIO&) = delete;

    /// @name Opening and closing
    //@{
    /// Loads `name` (with `defaultExtension` when it has none) as the input, replacing any earlier one;
    /// with `text`, a UTF-8 byte-order mark is dropped and UTF-16LE text converted, UTF-16BE raising 8.
    /// False when the file cannot be opened; no name raises the text "no filename".
    bool OpenFile(const char* name, const char* defaultExtension = nullptr, bool text = false);
    /// Loads `path` as the input; -1 when it cannot be opened, else its size.
    std::int64_t ReadFile(const char* path);
    /// Opens `path` for reading piece by piece from the file (huge mode) without loading it; large
    /// archives are read this way so that memory stays bounded by what one operation needs.
    bool openHuge(const char* path);
    /// Reads `size` bytes of the caller's memory as the input, in place: they must outlive the stream.
    void OpenPseudoFile(const unsigned char* bytes, std::uint64_t size);
    /// Releases the input, the output (completing it), or both.
    void CloseInput();
    void CloseOutput();
    void Close();
    /// The output goes to a temporary file beside the target and replaces it only when CloseOutput
    /// completes it; a failed operation abandons it and leaves any earlier file untouched.
    bool CreateFileA(const char* name, const char* defaultExtension = nullptr);
    /// Drops the output being written, leaving any earlier file of that name as it was.
    void abandonOutput();
    /// The name with `defaultExtension` added when it has none, kept as the stream's path.
    const char* MakeFilename(const char* name, const char* defaultExtension);
    /// Whether an input or an output is open, and whether the input is read piecemeal (1) or held (0).
    bool ReadActive() const;
    bool WriteActive() const { return output_ != nullptr; }
    int IsHuge() const { return hugeInput_ != nullptr ? 1 : 0; }
    /// 1 when the file `name` begins with the raP signature, 0 when not, -1 when it cannot be read.
    int FileIsRaPified(const char* name);
    /// The next four bytes of the input as a zero-terminated text, valid until the next call.
    const char* GetMimeSignature();
    /// The whole output written so far; raises 1 when it cannot be read back.
    std::vector<unsigned char> ReadBackWriteFile();
    /// Hands the output written so far to `consume` piece by piece, so that a large output can be
    /// hashed without being held in memory; writing then goes on at the end.
    void readBackInPieces(const std::function<void(std::span<const unsigned char>)>& consume);

    //@}
    /// @name Position in the input
    //@{
    /// Whether the offset is at the end of the input (raises 1 past it).
    bool Eof() const;
    /// Bytes from the offset to the end, and the size of the whole input.
    std::uint64_t BytesRemaining() const { return offset_ <= size_ ? size_ - offset_ : 0; }
    std::uint64_t size() const { return size_; }
    /// Bytes between `start`, a pointer into the input, and the offset; raises 1 for a pointer outside it.
    std::int64_t BytesUsed(const unsigned char* start) const;
    /// Moves the offset by `n` (the second form returns the new address); raises 1 outside the input.
    void AddOffset(std::int64_t n);
    const unsigned char* AddOffsetEx(std::int64_t n);
    /// Moves the offset to `p`, a pointer into the input; raises 1 outside it.
    void SetAddress(const void* p);
    /// Moves the offset to `position` and returns the previous one; raises 1 past the end.
    std::uint64_t MoveTo(std::uint64_t position);
    /// The offset in the input, or with `output` the position in the output (-1 when none is open).
    std::int64_t Ftell(bool output = false) const;
    /// Moves the output's position; false when no output is open or the move fails.
    bool Fseek(std::int64_t position);
    /// The input at the offset, in place; raises 1 at or past the end.
    const unsigned char* GetAddress() const;
    /// The next `n` bytes in place (a copy in huge mode), moving the offset past them; raises 1 when
    /// they are not all there.
    const unsigned char* GetAddressAndUpdate(std::uint64_t n);
    std::vector<unsigned char> GetAddressAndUpdateH(std::uint64_t n);
    /// The next `size` x `count` bytes in place, moving past them; raises 1 when they are not all there.
    const unsigned char* FreadPtr(std::uint64_t size, std::uint64_t count);
    /// The next `count` bytes in place. Unlike FreadPtr, taking no bytes is no read at all, so an empty
    /// block may stand at the very end of the input.
    std::span<const unsigned char> takeBytes(std::uint64_t count);
    /// The whole input image (empty in huge mode).
    const unsigned char* image() const { return image_; }

    //@}
    /// @name Reading values
    //@{
    /// The next value, little-endian, moving past it; raises 1 ("Premature EOF") when its bytes are not
    /// there. ReadTriByte reads 24 bits unsigned; Fread copies `size` x `count` bytes to `destination`.
    int ReadByte();
    std::int16_t ReadShort();
    std::int32_t ReadTriByte();
    std::int32_t ReadLong();
    std::uint32_t readUnsigned();
    float ReadFloat();
    double ReadDouble();
    uLongPair ReadUlongPair();
    std::vector<XYZTriplet> ReadXYZTriplet(int count);
    XYZTransform ReadXYZTransformPtr();
    void Fread(void* destination, std::uint64_t size, std::uint64_t count);
    /// The zero-terminated text at the offset, in place; a text with no terminator raises 1.
    const char* ReadAsciiz();
    /// Huge mode: reads up to a zero into a copy; a text that reaches 1999 characters raises 1.
    std::string ReadAsciizH();

    //@}
    /// @name Writing values
    //@{
    /// Appends the value to the output, little-endian; raises 6 ("cannot write to file") when the
    /// output refuses. WriteAsciiz writes the text and its zero, WriteChars the text alone (a null text
    /// raises 5), WriteLenString a 32-bit length and the text.
    void WriteByte(int value);
    void WriteShort(int value);
    void WriteTriByte(int value);
    void WriteLong(std::int32_t value);
    void WriteFloat(float value);
    void WriteDouble(double value);
    void WriteUlongPair(const uLongPair& pair);
    void WriteXYZTriplet(const XYZTriplet* triplets, int count);
    void WriteXYZTransform(const XYZTransform& transform);
    void Fwrite(const void* data, std::uint64_t size, std::uint64_t count);
    void WriteBlock(const void* data, std::uint64_t size) { Fwrite(data, size, 1); }
    void WriteAsciiz(const char* text);
    void WriteChars(const char* text);
    void WriteLenString(const char* text);
    // Raises 6 after a line naming the file being written and the system's reason (`error`).
    [[noreturn]] void failWriting(int error);

    //@}
    /// @name File-system services
    //@{
    /// Writes `size` bytes to the file `name` at once; false when it cannot be written.
    bool WriteFile(const char* name, const void* data, std::uint64_t size);
    /// Makes every folder that `path` names before its last separator; 1 when they all exist.
    int MakeFolders(const char* path);
    bool MakeFolders(const FileString* path);
    /// Removes nothing, on purpose, and returns 1: extraction never deletes the user's folders.
    int RemoveFoldersRecurse(const char* path);
    /// Renames a file, replacing an existing target; a bare target name stays in the folder of
    /// `from`. 1, or -1 after the system's reason went to the callbacks.
    int Rename(const char* from, const char* to);
    /// The current folder.
    const char* GetCwd();
    /// The input's name without its extension (with its folders when asked), and the input's path.
    const char* GetFileNameNoExt(bool withPath = false);
    const char* GetFileAndPath() const { return path_.GetName(); }
    const char* GetFileAndPathNoExt();
    /// Appends the banner that begins every generated text file, each line after "//" and `prefix`.
    void Banner(GenString* out, const char* prefix);
    /// Sends the system's reason for the last failure, the current folder and `name` to the callbacks.
    void ReportError(const char* name);

    //@}
    /// @name Callbacks and messages
    //@{
    /// Sends the formatted text to the callbacks, then raises `code` unless it is 0.
    [[gnu::format(printf, 3, 4)]] void Throw(int code, const char* format, ...);
    /// Delivers one text: to `callback`, else to the error or log callback, else to standard error,
    /// where carriage returns are removed from `text` first (the second form removes them in place).
    void PrintToStdErr(const char* text, LogCallback callback = nullptr);
    void PrintToStdErr(char* text, LogCallback callback = nullptr);
    /// Sets the log callback (and the error callback, unless a caller chose one of its own); the
    /// error callback alone; and reads the log callback back.
    void SetCallBack(LogCallback callback);
    void SetErrCallBack(LogCallback callback) { errorCallback_ = callback; }
    LogCallback logCallback() const { return logCallback_; }
    /// The callback that tools install to make long runs cancellable from the console: Escape (or
    /// Ctrl-C, when the tool watches for it) raises code 9, "User cancelled".
    static bool KeyPollCallBack(const char* format, ...);

    //@}
    /// The root the stream belongs to, if any.
    VexDLL* GetDllParent() const { return parent_; }
    void SetDllParent(VexDLL* parent) { parent_ = parent; }

private:
    // The file, when it is a regular one; else null, with a line for a folder or a device.
    std::FILE* openForReading(const char* path);
    void loadImage(std::FILE* file);
    void need(std::uint64_t n) const;
    void readInto(void* destination, std::uint64_t n);
    void write(const void* data, std::uint64_t n);
    LogCallback deliveringCallback(LogCallback callback) const;
    static void writeToStandardError(char* text);
    template <class T> T readValue();

    FileString path_;
    std::vector<unsigned char> ownedImage_;
    const unsigned char* image_ = nullptr;
    std::uint64_t size_ = 0;
    std::uint64_t offset_ = 0;
    FileString workPath_;
    VexDLL* parent_ = nullptr;
    char signature_[5] = {};
    bool pseudo_ = false;

    std::FILE* output_ = nullptr;
    std::string outputTarget_;
    std::string outputTemporary_;
    std::FILE* hugeInput_ = nullptr;
    std::string textScratch_;
    LogCallback logCallback_ = nullptr;
    LogCallback errorCallback_ = nullptr;
};

}  // namespace archivefile
