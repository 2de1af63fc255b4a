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

#include "archivefile/foundation/FileString.h"
#include "archivefile/foundation/GenString.h"
#include "archivefile/foundation/SharedTypes.h"

namespace archivefile {

class VexDLL;

// The library formats every message itself and passes the finished text as the only argument.
using LogCallback = bool (*)(const char* format, ...);

class VexFileIO {
public:
    VexFileIO();
    explicit VexFileIO(VexDLL* parent);
    ~VexFileIO();
    VexFileIO(const VexFileIO&) = delete;
    VexFileIO& operator=(const VexFileIO&) = delete;

    // Opening and closing.
    bool OpenFile(const char* name, const char* defaultExtension = nullptr, bool text = false);
    // Loads `path` as the input; -1 when it cannot be opened, else its size.
    std::int64_t ReadFile(const char* path);
    // Opens `path` for reading piece by piece from the file (huge mode) without loading it; large
    // archives are read this way so that memory stays bounded by what one operation needs.
    bool openHuge(const char* path);
    void OpenPseudoFile(const unsigned char* bytes, std::uint64_t size);
    void CloseInput();
    void CloseOutput();
    void Close();
    // The output goes to a temporary file beside the target and replaces it only when CloseOutput
    // completes it; a failed operation abandons it and leaves any earlier file untouched.
    bool CreateFileA(const char* name, const char* defaultExtension = nullptr);
    void abandonOutput();
    const char* MakeFilename(const char* name, const char* defaultExtension);
    bool ReadActive() const;
    bool WriteActive() const { return output_ != nullptr; }
    int IsHuge() const { return hugeInput_ != nullptr ? 1 : 0; }
    int FileIsRaPified(const char* name);
    const char* GetMimeSignature();
    std::vector<unsigned char> ReadBackWriteFile();
    // Hands the output written so far to `consume` piece by piece, so that a large output can be
    // hashed without being held in memory; writing then goes on at the end.
    void readBackInPieces(const std::function<void(std::span<const unsigned char>)>& consume);

    // Position.
    bool Eof() const;
    std::uint64_t BytesRemaining() const { return offset_ <= size_ ? size_ - offset_ : 0; }
    std::uint64_t size() const { return size_; }
    std::int64_t BytesUsed(const unsigned char* start) const;
    void AddOffset(std::int64_t n);
    const unsigned char* AddOffsetEx(std::int64_t n);
    void SetAddress(const void* p);
    std::uint64_t MoveTo(std::uint64_t position);
    std::int64_t Ftell(bool output = false) const;
    bool Fseek(std::int64_t position);
    const unsigned char* GetAddress() const;
    const unsigned char* GetAddressAndUpdate(std::uint64_t n);
    std::vector<unsigned char> GetAddressAndUpdateH(std::uint64_t n);
    const unsigned char* FreadPtr(std::uint64_t size, std::uint64_t count);
    // The next `count` bytes in place. Unlike FreadPtr, taking no bytes is no read at all, so an empty
    // block may stand at the very end of the input.
    std::span<const unsigned char> takeBytes(std::uint64_t count);
    // The whole input image (empty in huge mode).
    const unsigned char* image() const { return image_; }

    // Reading values; each raises 1 ("Premature EOF") when the bytes are not there.
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
    // The zero-terminated text at the offset, in place; a text with no terminator raises 1.
    const char* ReadAsciiz();
    // Huge mode: reads up to a zero into a copy; a text that reaches 1999 characters raises 1.
    std::string ReadAsciizH();

    // Writing values; each raises 6 ("cannot write to file") when the output refuses.
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

    // File-system services.
    bool WriteFile(const char* name, const void* data, std::uint64_t size);
    int MakeFolders(const char* path);
    bool MakeFolders(const FileString* path);
    int RemoveFoldersRecurse(const char* path);
    // Renames a file, replacing an existing target; a bare target name stays in the folder of
    // `from`. 1, or -1 after the system's reason went to the callbacks.
    int Rename(const char* from, const char* to);
    const char* GetCwd();
    const char* GetFileNameNoExt(bool withPath = false);
    const char* GetFileAndPath() const { return path_.GetName(); }
    const char* GetFileAndPathNoExt();
    void Banner(GenString* out, const char* prefix);
    void ReportError(const char* name);

    // Callbacks and messages.
    [[gnu::format(printf, 3, 4)]] void Throw(int code, const char* format, ...);
    // Delivers one text: to `callback`, else to the error or log callback, else to standard error,
    // where carriage returns are removed from `text` first (the second form removes them in place).
    void PrintToStdErr(const char* text, LogCallback callback = nullptr);
    void PrintToStdErr(char* text, LogCallback callback = nullptr);
    void SetCallBack(LogCallback callback);
    void SetErrCallBack(LogCallback callback) { errorCallback_ = callback; }
    LogCallback logCallback() const { return logCallback_; }
    // The callback that tools install to make long runs cancellable from the console: Escape (or
    // Ctrl-C, when the tool watches for it) raises code 9, "User cancelled".
    static bool KeyPollCallBack(const char* format, ...);

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
