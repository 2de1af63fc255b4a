#include "archivefile/foundation/VexFileIO.h"

#include <bit>
#include <cerrno>
#include <cstring>
#include <new>

#include "archivefile/foundation/FileStringA.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/Platform.h"
#include "archivefile/foundation/TextException.h"
#include "archivefile/foundation/TextFormat.h"
#include "archivefile/foundation/VexDLL.h"

namespace archivefile {

// Values are copied between the image and the host as they are: every format read here is
// little-endian, and so are the hosts this library is built for.
static_assert(std::endian::native == std::endian::little, "a big-endian host needs byte swapping in VexFileIO");

namespace {
constexpr const char* homepage = ARCHIVEFILE_HOMEPAGE;
}

VexFileIO::VexFileIO() = default;

VexFileIO::VexFileIO(VexDLL* parent) : parent_(parent) {}

VexFileIO::~VexFileIO() {
    abandonOutput();
    CloseInput();
}

// ---- Opening and closing -------------------------------------------------------------------------

const char* VexFileIO::MakeFilename(const char* name, const char* defaultExtension) {
    path_.Set(name);
    return path_.AddExt(defaultExtension);
}

void VexFileIO::loadImage(std::FILE* file) {
    if (std::fseek(file, 0, SEEK_END) != 0) raise(GE_PrematureEof);
    const long end = std::ftell(file);
    if (end < 0 || std::fseek(file, 0, SEEK_SET) != 0) raise(GE_PrematureEof);
    const auto size = static_cast<std::uint64_t>(end);
    try {
        // Two zero bytes after the data terminate a text, even one of 16-bit units.
        ownedImage_.assign(size + 2, 0);
    } catch (const std::bad_alloc&) {
        ownedImage_ = std::vector<unsigned char>();
        Throw(GE_NoError,
              "\r\nInformation: Cannot allocate %llu bytes for fread(). File is massive\r\nUsing I/O instead. "
              "Expect LOOOOOOONG processing time\r\n",
              static_cast<unsigned long long>(size));
        hugeInput_ = file;
        size_ = size;
        offset_ = 0;
        return;
    }
    if (std::fread(ownedImage_.data(), 1, size, file) != size || std::fseek(file, 0, SEEK_END) != 0) {
        ownedImage_ = std::vector<unsigned char>();
        std::fclose(file);
        Throw(GE_PrematureEof, "\r\nCannot read entire file\r\n");
    }
    std::fclose(file);
    image_ = ownedImage_.data();
    size_ = size;
    offset_ = 0;
}

std::FILE* VexFileIO::openForReading(const char* path) {
    const std::string native = paths::native(path ? path : "");
    // Only regular files are opened: a folder would read as a file of absurd size, and a pipe or a
    // device could keep the open waiting for ever.
    if (!Platform::isFile(native)) {
        if (Platform::isFolder(native)) Throw(GE_NoError, "%s is a folder, not a file\r\n", path);
        else if (Platform::fileSize(native)) Throw(GE_NoError, "%s is not a regular file\r\n", path);
        return nullptr;
    }
    return Platform::openRegularFile(native);
}

std::int64_t VexFileIO::ReadFile(const char* path) {
    std::FILE* file = openForReading(path);
    if (file == nullptr) return -1;
    loadImage(file);
    return static_cast<std::int64_t>(size_);
}

bool VexFileIO::OpenFile(const char* name, const char* defaultExtension, bool text) {
    if (name == nullptr || *name == '\0') throw TextException("no filename");
    Close();
    if (ReadFile(MakeFilename(name, defaultExtension)) == -1) return false;
    if (!text || IsHuge()) return true;

    switch (GenString::RemoveBom(ownedImage_)) {
    case -1:
        Close();
        PrintToStdErr("Unicode Error\r\n");
        return false;
    case 0: {
        const std::size_t length = std::strlen(reinterpret_cast<const char*>(ownedImage_.data()));
        if (length != size_)
            Throw(GE_NoError, "Warning: %s Filesize of %llu bytes does not match actual character content of %zu\r\n",
                  path_.GetName(), static_cast<unsigned long long>(size_), length);
        break;
    }
    default: break;
    }
    image_ = ownedImage_.data();
    // An embedded zero ends the text.
    size_ = std::strlen(reinterpret_cast<const char*>(image_));
    return true;
}

bool VexFileIO::openHuge(const char* path) {
    Close();
    MakeFilename(path, nullptr);
    std::FILE* file = openForReading(path);
    if (file == nullptr) return false;
    if (std::fseek(file, 0, SEEK_END) != 0 || std::ftell(file) < 0) {
        std::fclose(file);
        raise(GE_PrematureEof);
    }
    size_ = static_cast<std::uint64_t>(std::ftell(file));
    std::fseek(file, 0, SEEK_SET);
    hugeInput_ = file;
    offset_ = 0;
    return true;
}

void VexFileIO::OpenPseudoFile(const unsigned char* bytes, std::uint64_t size) {
    Close();
    image_ = bytes;
    size_ = size;
    offset_ = 0;
    pseudo_ = true;
}

void VexFileIO::CloseInput() {
    if (!pseudo_) {
        if (hugeInput_ != nullptr) std::fclose(hugeInput_);
        // A new vector, not `= {}`: clearing would keep the image's memory allocated.
        ownedImage_ = std::vector<unsigned char>();
    }
    hugeInput_ = nullptr;
    image_ = nullptr;
    pseudo_ = false;
    size_ = 0;
    offset_ = 0;
}

bool VexFileIO::CreateFileA(const char* name, const char* defaultExtension) {
    if (output_ != nullptr) return false;
    outputTarget_ = paths::native(MakeFilename(name, defaultExtension));
    output_ = Platform::createTemporaryBeside(outputTarget_, outputTemporary_);
    if (output_ == nullptr) {
        ReportError(path_.GetName());
        return false;
    }
    return true;
}

void VexFileIO::CloseOutput() {
    if (output_ == nullptr) return;
    // What is still buffered is written only now, so a full disk often shows here first.
    const bool written = std::fclose(output_) == 0;
    const int error = Platform::lastError();
    output_ = nullptr;
    if (!written) {
        Platform::removeFile(outputTemporary_);
        failWriting(error);
    }
    if (Platform::renameFile(outputTemporary_, outputTarget_) != 0) {
        ReportError(outputTarget_.c_str());
        Platform::removeFile(outputTemporary_);
        raise(GE_CannotWrite);
    }
}

void VexFileIO::abandonOutput() {
    if (output_ == nullptr) return;
    std::fclose(output_);
    output_ = nullptr;
    Platform::removeFile(outputTemporary_);
}

void VexFileIO::Close() {
    CloseInput();
    CloseOutput();
}

bool VexFileIO::ReadActive() const { return image_ != nullptr || hugeInput_ != nullptr; }

int VexFileIO::FileIsRaPified(const char* name) {
    const std::string native = paths::native(name ? name : "");
    if (!Platform::isFile(native)) return -1;
    FilePtr file(Platform::openRegularFile(native), std::fclose);
    if (!file) return -1;
    unsigned char head[4] = {};
    return std::fread(head, 1, 4, file.get()) == 4 && std::memcmp(head, "\0raP", 4) == 0 ? 1 : 0;
}

const char* VexFileIO::GetMimeSignature() {
    Fread(signature_, 1, 4);
    signature_[4] = '\0';
    return signature_;
}

std::vector<unsigned char> VexFileIO::ReadBackWriteFile() {
    if (output_ == nullptr) raise(GE_PrematureEof);
    if (std::fflush(output_) != 0) failWriting(Platform::lastError());
    if (std::fseek(output_, 0, SEEK_END) != 0) raise(GE_PrematureEof);
    const long size = std::ftell(output_);
    if (size < 0 || std::fseek(output_, 0, SEEK_SET) != 0) raise(GE_PrematureEof);
    std::vector<unsigned char> image(static_cast<std::size_t>(size) + 2, 0);
    const bool complete = std::fread(image.data(), 1, static_cast<std::size_t>(size), output_) == static_cast<std::size_t>(size);
    std::fseek(output_, 0, SEEK_END);
    if (!complete) Throw(GE_PrematureEof, "\r\nCannot read entire file\r\n");
    image.resize(static_cast<std::size_t>(size));
    return image;
}

void VexFileIO::readBackInPieces(const std::function<void(std::span<const unsigned char>)>& consume) {
    if (output_ == nullptr) raise(GE_PrematureEof);
    if (std::fflush(output_) != 0) failWriting(Platform::lastError());
    if (std::fseek(output_, 0, SEEK_SET) != 0) raise(GE_PrematureEof);
    std::vector<unsigned char> piece(std::size_t{1} << 20);
    std::size_t got;
    while ((got = std::fread(piece.data(), 1, piece.size(), output_)) > 0) consume({piece.data(), got});
    const bool complete = std::ferror(output_) == 0;
    std::fseek(output_, 0, SEEK_END);
    if (!complete) Throw(GE_PrematureEof, "\r\nCannot read entire file\r\n");
}

// ---- Position ------------------------------------------------------------------------------------

bool VexFileIO::Eof() const {
    if (offset_ > size_) raise(GE_PrematureEof);
    return offset_ == size_;
}

void VexFileIO::need(std::uint64_t n) const {
    if (offset_ > size_ || n > size_ - offset_) raise(GE_PrematureEof);
}

std::int64_t VexFileIO::BytesUsed(const unsigned char* start) const {
    if (image_ == nullptr || start < image_ || start > image_ + size_) raise(GE_PrematureEof);
    const std::int64_t used = (image_ + offset_) - start;
    if (used < 0 || static_cast<std::uint64_t>(used) > size_) raise(GE_PrematureEof);
    return used;
}

void VexFileIO::AddOffset(std::int64_t n) {
    if (n < 0 && static_cast<std::uint64_t>(-n) > offset_) raise(GE_PrematureEof);
    MoveTo(offset_ + static_cast<std::uint64_t>(n));
}

const unsigned char* VexFileIO::AddOffsetEx(std::int64_t n) {
    AddOffset(n);
    return GetAddress();
}

void VexFileIO::SetAddress(const void* p) {
    const auto* byte = static_cast<const unsigned char*>(p);
    if (image_ == nullptr || byte < image_) raise(GE_PrematureEof);
    MoveTo(static_cast<std::uint64_t>(byte - image_));
}

std::uint64_t VexFileIO::MoveTo(std::uint64_t position) {
    const std::uint64_t previous = offset_;
    if (position > size_) raise(GE_PrematureEof);
    if (hugeInput_ != nullptr && std::fseek(hugeInput_, static_cast<long>(position), SEEK_SET) != 0)
        raise(GE_PrematureEof);
    offset_ = position;
    return previous;
}

std::int64_t VexFileIO::Ftell(bool output) const {
    if (output) return output_ ? std::ftell(output_) : -1;
    return static_cast<std::int64_t>(offset_);
}

bool VexFileIO::Fseek(std::int64_t position) {
    return output_ != nullptr && std::fseek(output_, static_cast<long>(position), SEEK_SET) == 0;
}

const unsigned char* VexFileIO::GetAddress() const {
    if (image_ == nullptr || offset_ >= size_) raise(GE_PrematureEof);
    return image_ + offset_;
}

const unsigned char* VexFileIO::GetAddressAndUpdate(std::uint64_t n) {
    const unsigned char* address = GetAddress();
    need(n);
    offset_ += n;
    return address;
}

std::vector<unsigned char> VexFileIO::GetAddressAndUpdateH(std::uint64_t n) {
    need(n);
    std::vector<unsigned char> block;
    try {
        block.resize(n);
    } catch (const std::bad_alloc&) {
        raise(GE_OutOfMemory);
    }
    readInto(block.data(), n);
    return block;
}

const unsigned char* VexFileIO::FreadPtr(std::uint64_t size, std::uint64_t count) {
    if (size != 0 && count > UINT64_MAX / size) raise(GE_PrematureEof);
    return GetAddressAndUpdate(size * count);
}

std::span<const unsigned char> VexFileIO::takeBytes(std::uint64_t count) {
    if (count == 0) return {};
    return {FreadPtr(1, count), static_cast<std::size_t>(count)};
}

// ---- Reading values ------------------------------------------------------------------------------

void VexFileIO::readInto(void* destination, std::uint64_t n) {
    need(n);
    if (hugeInput_ != nullptr) {
        if (std::fread(destination, 1, n, hugeInput_) != n) raise(GE_PrematureEof);
    } else if (n != 0) {
        if (image_ == nullptr) raise(GE_PrematureEof);
        std::memcpy(destination, image_ + offset_, n);
    }
    offset_ += n;
}

template <class T>
T VexFileIO::readValue() {
    T value;
    readInto(&value, sizeof value);
    return value;
}

int VexFileIO::ReadByte() { return readValue<std::uint8_t>(); }
std::int16_t VexFileIO::ReadShort() { return readValue<std::int16_t>(); }
std::int32_t VexFileIO::ReadLong() { return readValue<std::int32_t>(); }
std::uint32_t VexFileIO::readUnsigned() { return readValue<std::uint32_t>(); }
float VexFileIO::ReadFloat() { return readValue<float>(); }
double VexFileIO::ReadDouble() { return readValue<double>(); }

std::int32_t VexFileIO::ReadTriByte() {
    unsigned char bytes[3];
    readInto(bytes, 3);
    return bytes[0] | (bytes[1] << 8) | (bytes[2] << 16);
}

uLongPair VexFileIO::ReadUlongPair() {
    uLongPair pair;
    pair.first = readUnsigned();
    pair.second = readUnsigned();
    return pair;
}

std::vector<XYZTriplet> VexFileIO::ReadXYZTriplet(int count) {
    if (count < 0) raise(GE_PrematureEof);
    need(static_cast<std::uint64_t>(count) * sizeof(XYZTriplet));
    std::vector<XYZTriplet> triplets(static_cast<std::size_t>(count));
    readInto(triplets.data(), triplets.size() * sizeof(XYZTriplet));
    return triplets;
}

XYZTransform VexFileIO::ReadXYZTransformPtr() { return readValue<XYZTransform>(); }

void VexFileIO::Fread(void* destination, std::uint64_t size, std::uint64_t count) {
    if (size != 0 && count > UINT64_MAX / size) raise(GE_PrematureEof);
    readInto(destination, size * count);
}

const char* VexFileIO::ReadAsciiz() {
    // In huge mode there is no image to point into; readers use ReadAsciizH there.
    if (hugeInput_ != nullptr) raise(GE_CodeBug);
    need(1);
    const auto* start = image_ + offset_;
    const auto* zero = static_cast<const unsigned char*>(std::memchr(start, 0, size_ - offset_));
    if (zero == nullptr) raise(GE_PrematureEof);
    offset_ += static_cast<std::uint64_t>(zero - start) + 1;
    return reinterpret_cast<const char*>(start);
}

std::string VexFileIO::ReadAsciizH() {
    constexpr std::size_t limit = 1999;
    std::string text;
    if (hugeInput_ == nullptr) {
        text = ReadAsciiz();
        if (text.size() >= limit) raise(GE_PrematureEof);
        return text;
    }
    while (true) {
        if (offset_ >= size_) raise(GE_PrematureEof);
        const int c = std::fgetc(hugeInput_);
        if (c == EOF) raise(GE_PrematureEof);
        ++offset_;
        if (c == 0) return text;
        text.push_back(static_cast<char>(c));
        if (text.size() >= limit) raise(GE_PrematureEof);
    }
}

// ---- Writing values ------------------------------------------------------------------------------

void VexFileIO::write(const void* data, std::uint64_t n) {
    if (output_ == nullptr) raise(GE_CannotWrite);
    if (n != 0 && std::fwrite(data, 1, n, output_) != n) failWriting(Platform::lastError());
}

void VexFileIO::failWriting(int error) {
    // The file named is the one the caller asked for: the temporary one beside it is ours.
    Throw(GE_CannotWrite, "cannot write %s: %s\r\n", outputTarget_.c_str(), Platform::errorText(error).c_str());
    raise(GE_CannotWrite);
}

void VexFileIO::WriteByte(int value) {
    const auto byte = static_cast<std::uint8_t>(value);
    write(&byte, 1);
}

void VexFileIO::WriteShort(int value) {
    const auto word = static_cast<std::int16_t>(value);
    write(&word, 2);
}

void VexFileIO::WriteTriByte(int value) {
    const unsigned char bytes[3] = {static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
                                    static_cast<unsigned char>(value >> 16)};
    write(bytes, 3);
}

void VexFileIO::WriteLong(std::int32_t value) { write(&value, 4); }
void VexFileIO::WriteFloat(float value) { write(&value, 4); }
void VexFileIO::WriteDouble(double value) { write(&value, 8); }

void VexFileIO::WriteUlongPair(const uLongPair& pair) {
    write(&pair.first, 4);
    write(&pair.second, 4);
}

void VexFileIO::WriteXYZTriplet(const XYZTriplet* triplets, int count) {
    if (count > 0) write(triplets, static_cast<std::uint64_t>(count) * sizeof(XYZTriplet));
}

void VexFileIO::WriteXYZTransform(const XYZTransform& transform) { write(&transform, sizeof transform); }

void VexFileIO::Fwrite(const void* data, std::uint64_t size, std::uint64_t count) {
    if (size != 0 && count > UINT64_MAX / size) raise(GE_CannotWrite);
    write(data, size * count);
}

void VexFileIO::WriteAsciiz(const char* text) {
    if (text == nullptr) text = "";
    write(text, std::strlen(text) + 1);
}

void VexFileIO::WriteChars(const char* text) {
    if (text == nullptr) Throw(GE_CodeBug, "\r\nDebug: VexFileIO::WriteChars() No str to write\r\n");
    write(text, std::strlen(text));
}

void VexFileIO::WriteLenString(const char* text) {
    const std::size_t length = text ? std::strlen(text) : 0;
    WriteLong(static_cast<std::int32_t>(length));
    write(text, length);
}

// ---- File-system services ------------------------------------------------------------------------

bool VexFileIO::WriteFile(const char* name, const void* data, std::uint64_t size) {
    FilePtr file = FileStringA().fs_CreateTextFile(name);
    if (!file) return false;
    const bool written = size == 0 || std::fwrite(data, 1, size, file.get()) == size;
    return std::fclose(file.release()) == 0 && written;
}

int VexFileIO::MakeFolders(const char* path) {
    if (path == nullptr || *path == '\0') return 1;
    const std::string folders = paths::withSeparator(path, '\\');
    std::size_t from = paths::rootLength(folders);
    if (from < folders.size() && folders[from] == '\\') ++from;
    for (std::size_t slash = folders.find('\\', from); slash != std::string::npos; slash = folders.find('\\', slash + 1)) {
        const std::string folder = paths::native(folders.substr(0, slash));
        const int error = Platform::makeFolder(folder);
        if (error != 0 && error != EEXIST) {
            std::fprintf(stderr, "%s\n%s\n", Platform::errorText(error).c_str(), folder.c_str());
            return 0;
        }
    }
    return 1;
}

bool VexFileIO::MakeFolders(const FileString* path) { return path && MakeFolders(path->GetName()) == 1; }

int VexFileIO::RemoveFoldersRecurse(const char*) { return 1; }

int VexFileIO::Rename(const char* from, const char* to) {
    if (from == nullptr || to == nullptr || *from == '\0' || *to == '\0') return -1;
    std::string target = to;
    if (paths::lastSlash(target) == paths::none && paths::rootLength(target) == 0) {
        const std::string folder = paths::driveAndFolder(from);
        if (!folder.empty()) target = formatText("%s/%s", folder.c_str(), to);
    }
    // The names are compared once the target stands in its folder ("d/x.bin" to "x.bin" is no
    // rename), with either separator; letter case counts, as it does on this system's disks. The
    // target is not deleted first: the rename replaces it in one step, so that a name that reaches
    // the source another way ("d/./x.bin", a link, a disk that ignores case) or a source that is
    // missing loses nothing.
    if (paths::equalPaths(from, target, true)) return 1;
    if (Platform::renameFile(paths::native(from), paths::native(target)) != 0) {
        ReportError(from);
        return -1;
    }
    return 1;
}

const char* VexFileIO::GetCwd() {
    textScratch_ = Platform::currentFolder();
    return textScratch_.c_str();
}

const char* VexFileIO::GetFileNameNoExt(bool withPath) {
    const std::string_view path = path_.view();
    const std::size_t start = withPath ? 0 : paths::fileNameStart(path);
    const std::size_t dot = paths::extension(path);
    workPath_.Set(path.substr(start, dot == paths::none ? paths::none : dot - start));
    return workPath_.GetName();
}

const char* VexFileIO::GetFileAndPathNoExt() { return GetFileNameNoExt(true); }

void VexFileIO::Banner(GenString* out, const char* prefix) {
    const std::string rule(68, '/');
    const std::string version = parent_ ? parent_->VersionStr() : VexDLL::versionText();
    const std::string date = Platform::localTimeText(Platform::now());
    out->Add("%s\r\n", rule.c_str());
    out->Add("//%sProduced from tavin's Orv Tools Dll version %s\r\n", prefix ? prefix : "", version.c_str());
    out->Add("//%s : Source 'file' date %s\r\n", date.c_str(), date.c_str());
    out->Add("//%s\r\n", homepage);
    out->Add("%s\r\n\r\n", rule.c_str());
}

void VexFileIO::ReportError(const char* name) {
    const int error = Platform::lastError();
    Throw(GE_NoError, "%s\r\nPath and file=%s %s\r\n", Platform::errorText(error).c_str(),
          Platform::currentFolder().c_str(), name ? name : "");
}

// ---- Callbacks and messages ----------------------------------------------------------------------

void VexFileIO::Throw(int code, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const std::string text = vformatText(format, args);
    va_end(args);
    PrintToStdErr(text.c_str());
    if (code != GE_NoError) raise(code);
}

LogCallback VexFileIO::deliveringCallback(LogCallback callback) const {
    if (callback != nullptr) return callback;
    callback = errorCallback_ ? errorCallback_ : logCallback_;
    // The key-poll callback prints nothing: a text found on the way to it goes to standard error, so
    // that a cancel pending at the console cannot swallow the message of an error.
    return callback == KeyPollCallBack ? nullptr : callback;
}

void VexFileIO::PrintToStdErr(const char* text, LogCallback callback) {
    if (text == nullptr) return;
    if (const LogCallback deliver = deliveringCallback(callback)) {
        deliver(text);
        return;
    }
    std::string copy(text);
    writeToStandardError(copy.data());
}

void VexFileIO::PrintToStdErr(char* text, LogCallback callback) {
    if (text == nullptr) return;
    if (const LogCallback deliver = deliveringCallback(callback)) {
        deliver(text);
        return;
    }
    writeToStandardError(text);
}

void VexFileIO::writeToStandardError(char* text) {
    // Carriage returns go first, in the caller's text; only then is the text read as a format, so
    // that a "%" that a carriage return kept from its neighbour pairs with it. The text is printed
    // literally, with "%%" as "%", never handed to printf.
    char* kept = text;
    for (const char* p = text; *p; ++p)
        if (*p != '\r') *kept++ = *p;
    *kept = '\0';
    std::string plain;
    plain.reserve(static_cast<std::size_t>(kept - text));
    for (const char* p = text; *p; ++p) {
        plain.push_back(*p);
        if (p[0] == '%' && p[1] == '%') ++p;
    }
    std::fputs(plain.c_str(), stderr);
}

void VexFileIO::SetCallBack(LogCallback callback) {
    if (errorCallback_ != nullptr && errorCallback_ != KeyPollCallBack) {
        logCallback_ = callback;
    } else {
        errorCallback_ = callback;
        logCallback_ = callback;
    }
}

bool VexFileIO::KeyPollCallBack(const char*, ...) {
    constexpr int escape = 27;
    if (Platform::interruptRequested() || Platform::pollKey() == escape) raise(GE_UserCancelled);
    return true;
}

}  // namespace archivefile
