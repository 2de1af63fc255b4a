// The table of `vex info`: how each kind of file is recognised and described.
#include "tools/vex/InfoKinds.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <string_view>

#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/config/RapFile.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/PathRules.h"
#include "archivefile/foundation/Platform.h"
#include "archivefile/foundation/Sha1.h"
#include "archivefile/media/FxyFile.h"
#include "archivefile/media/VexSound.h"
#include "archivefile/model/P3dFile.h"
#include "archivefile/texture/PacFile.h"
#include "archivefile/texture/TexFile.h"
#include "tools/vex/CancelWatch.h"
#include "tools/vex/Tool.h"

namespace vex {

using nlohmann::ordered_json;

// ---- The file --------------------------------------------------------------------------------------

namespace {

using FilePtr = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

std::string systemError() { return archivefile::Platform::errorText(archivefile::Platform::lastError()); }

}  // namespace

bool InfoInput::open(const std::string& path, std::string& error) {
    path_ = path;
    const auto size = archivefile::Platform::fileSize(archivefile::paths::native(path));
    FilePtr file(std::fopen(archivefile::paths::native(path).c_str(), "rb"), std::fclose);
    if (!size || !file) {
        error = "cannot open: " + systemError();
        return false;
    }
    size_ = *size;
    head_.resize(static_cast<std::size_t>(std::min<std::uint64_t>(size_, HeadSize)));
    if (std::fread(head_.data(), 1, head_.size(), file.get()) != head_.size()) {
        error = "cannot read: " + systemError();
        return false;
    }
    return true;
}

bool InfoInput::readWhole(std::string& error) {
    if (whole_.size() == size_) return true;
    if (head_.size() == size_) {
        whole_ = head_;
        return true;
    }
    // The readers that take memory count its length in 32 bits.
    if (size_ > std::numeric_limits<unsigned int>::max()) {
        error = "too large to be read into memory";
        return false;
    }
    FilePtr file(std::fopen(archivefile::paths::native(path_).c_str(), "rb"), std::fclose);
    whole_.resize(static_cast<std::size_t>(size_));
    if (!file || std::fread(whole_.data(), 1, whole_.size(), file.get()) != whole_.size()) {
        whole_.clear();
        error = "cannot read: " + systemError();
        return false;
    }
    return true;
}

namespace {

// ---- Lines the handlers report -------------------------------------------------------------------

// Handlers report through a plain function, so their lines are gathered here while one file is
// described; each thread describes its own file. A cancel stops the handler at its next line.
thread_local std::string reported;

bool collect(const char* text, ...) {
    CancelWatch::check();
    reported += text;
    return true;
}

// Lines end in "\r\n" and blank lines say nothing; trailing blanks are dropped. In a brief
// description the handler's `usual` line (a model's type line, which is a field there) is left out.
void takeReported(Description& description, std::string_view usual = {}) {
    std::string_view text = reported;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.remove_suffix(1);
        if (!description.brief) {
            if (!line.empty()) description.lines.emplace_back(line);
        } else if (!line.empty() && line != usual) {
            description.warnings.emplace_back(line);
        }
        if (end == std::string_view::npos) break;
        text.remove_prefix(end + 1);
    }
    reported.clear();
}

template <class Handler>
void fail(Description& description, const Handler& handler, int code) {
    description.code = code;
    description.message = handler.ErrorString(code);
}

// The readers that work on memory get the whole file; a file that cannot be read is "invalid file".
bool readWhole(InfoInput& input, Description& description) {
    std::string error;
    if (input.readWhole(error)) return true;
    description.code = archivefile::GE_InvalidFile;
    description.message = error;
    return false;
}

bool startsWith(std::span<const unsigned char> head, std::string_view signature, std::size_t at = 0) {
    return head.size() >= at + signature.size() && std::memcmp(head.data() + at, signature.data(), signature.size()) == 0;
}

std::uint32_t u32At(std::span<const unsigned char> head, std::size_t at) {
    std::uint32_t value;
    std::memcpy(&value, head.data() + at, sizeof value);
    return value;
}

// ---- Archives ------------------------------------------------------------------------------------

// An archive begins with its properties entry (an empty name and "sreV"), or, in the oldest style,
// with a file entry: a name of printable characters and a stored or compressed method.
bool looksLikeArchive(const InfoInput& input) {
    const std::span<const unsigned char> head = input.head();
    if (startsWith(head, std::string_view("\0sreV", 5))) return true;
    const auto zero = std::find(head.begin(), head.end(), 0);
    const std::size_t nameLength = static_cast<std::size_t>(zero - head.begin());
    if (zero == head.end() || nameLength == 0 || nameLength > 1024 || head.size() < nameLength + 21) return false;
    if (std::any_of(head.begin(), zero, [](unsigned char c) { return c < 0x20 || c == 0x7F; })) return false;
    const std::uint32_t method = u32At(head, nameLength + 1);
    const std::uint32_t dataSize = u32At(head, nameLength + 17);
    return (method == archivefile::pbo_entry::Stored || method == archivefile::pbo_entry::Compressed) &&
           dataSize <= input.size();
}

void describeArchive(Tool& tool, InfoInput& input, Description& description) {
    using archivefile::ArchiveFile;
    ArchiveFile& archive = *tool.root().archiveFile();
    // A brief open leaves out the header report, whose parts become fields; a strict one keeps a
    // missing checksum and bytes after the data as failures.
    const int code = archive.OpenPbo(input.path().c_str(), collect,
                                     ArchiveFile::OpenAsNamed | (description.brief ? ArchiveFile::Brief : 0) |
                                         (description.strict ? ArchiveFile::Strict : 0));
    takeReported(description);
    if (code != archivefile::AE_NoError) fail(description, archive, code);
    // A wrong checksum leaves the archive open: what it holds is still worth showing.
    if (!archive.isOpen()) return;
    description.lines.push_back(std::to_string(archive.entryCount()) + " entries");
    ordered_json& fields = description.fields;
    fields["type"] = archive.GetPboType();
    fields["prefix"] = archive.HasPrefix() ? ordered_json(archive.GetPrefix()) : ordered_json();
    ordered_json properties = ordered_json::array();
    for (const archivefile::TokenPair& property : archive.properties())
        properties.push_back({{"name", property.name.view()}, {"value", property.value.view()}});
    fields["properties"] = std::move(properties);
    fields["trailer"] = archive.storedDigest().empty() ? ordered_json()
                                                       : ordered_json(archivefile::Sha1::hexText(archive.storedDigest()));
    for (const archivefile::pbo_entry* entry = archive.GetChain(); entry; entry = archive.GetNext(entry)) {
        description.entries.push_back({{"name", entry->name()},
                                       {"size", entry->realSize()},
                                       {"dataSize", entry->dataSize()},
                                       {"compressed", entry->isCompressed()},
                                       {"time", entry->timeStamp()}});
    }
    archive.ClosePbo();
}

// ---- Binarised configs ---------------------------------------------------------------------------

bool looksLikeRap(const InfoInput& input) { return startsWith(input.head(), std::string_view("\0raP", 4)); }

void describeRap(Tool& tool, InfoInput& input, Description& description) {
    using archivefile::RapFile;
    if (!readWhole(input, description)) return;
    RapFile& decoder = *tool.root().rapFile();
    decoder.SetCallBack(collect);
    const std::span<const unsigned char> bytes = input.bytes();
    const int code = decoder.Rap2Text({bytes.data(), bytes.size()}, input.path().c_str(), RapFile::ExtendedSyntax);
    takeReported(description);
    if (code != 0) {
        fail(description, decoder, code);
    } else {
        static constexpr std::array<std::pair<const char*, const char*>, 3> styles{{
            {"inline", "classes inline"},
            {"offset", "class bodies by offset"},
            {"signed", "class bodies by offset, behind a signature block"},
        }};
        const auto& [style, words] = styles.at(static_cast<std::size_t>(decoder.style()));
        description.lines.push_back(std::string("style: ") + words);
        description.lines.push_back("decodes to " + std::to_string(decoder.decodedText().size()) + " bytes of config text");
        description.fields["style"] = style;
        description.fields["textSize"] = decoder.decodedText().size();
    }
    decoder.Close();
}

// ---- Models --------------------------------------------------------------------------------------

bool looksLikeModel(const InfoInput& input) {
    if (input.head().size() < 4) return false;
    static constexpr std::string_view signatures[] = {"MLOD", "ODOL", "SP3X", "SP3D"};
    const std::string_view signature(reinterpret_cast<const char*>(input.head().data()), 4);
    return std::any_of(std::begin(signatures), std::end(signatures), [&](std::string_view known) {
        return archivefile::paths::equalIgnoringCase(signature, known);
    });
}

void describeModel(Tool& tool, InfoInput& input, Description& description) {
    using archivefile::P3dFile;
    if (!readWhole(input, description)) return;
    P3dFile& model = *tool.root().p3dFile();
    const std::span<const unsigned char> bytes = input.bytes();
    const int code = model.Open(bytes.data(), static_cast<unsigned int>(bytes.size()), collect);
    archivefile::GenString type;
    model.GetTypeStr(&type);
    std::string typeText(type.view());
    while (!typeText.empty() && (typeText.back() == '\n' || typeText.back() == '\r')) typeText.pop_back();
    // The prefix line is printed by the header reader on standard output, which vex keeps for its
    // report; it comes back here, before the type line as the reader prints it.
    if (!description.brief && model.GetType() == P3dFile::KindOdol58 && !P3dFile::k3Prefix().empty())
        description.lines.push_back("K3Prefix: " + P3dFile::k3Prefix());
    takeReported(description, typeText);
    if (code != 0) {
        fail(description, model, code);
        return;
    }
    ordered_json& fields = description.fields;
    fields["type"] = model.GetType();
    fields["typeText"] = typeText;
    fields["family"] = model.GetP3DFamily(P3dFile::OwnKind);
    fields["lodCount"] = model.GetLodCount();
    fields["editable"] = model.IsMlod() != 0;
    fields["prefix"] = model.GetType() == P3dFile::KindOdol58 ? ordered_json(P3dFile::k3Prefix()) : ordered_json();

    // Only the LODs that the file holds are shown. Every LOD takes four bytes at least, so a count
    // beyond that is a damaged header; and a binarised body that ran short holds fewer resolutions
    // than its header names, the rest of which would only be shown as zeros.
    std::uint64_t held = bytes.size() / 4;
    if (const archivefile::OdolModel* binarised = model.GetOdolPtr(); binarised && model.IsKernOdol(P3dFile::OwnKind))
        held = binarised->resolutions().size();
    const std::uint64_t shown = std::min<std::uint64_t>(model.GetLodCount(), held);
    const archivefile::MlodModel* editable = model.GetMLodPtr();
    for (std::uint64_t i = 0; i < shown; ++i) {
        const int lod = static_cast<int>(i);
        std::string text = model.LodTypeStr(lod);
        while (!text.empty() && text.back() == ' ') text.pop_back();
        description.lines.push_back("LOD " + std::to_string(lod) + ": " + text);
        const float resolution = model.GetResolution(lod);
        ordered_json entry{{"index", lod},
                           {"resolution", std::isfinite(resolution) ? ordered_json(resolution) : ordered_json()},
                           {"text", text},
                           {"name", P3dFile::lodName(resolution)}};
        if (editable != nullptr && i < editable->lods().size()) {
            const archivefile::MlodModel::Lod& body = editable->lods()[i];
            entry["points"] = body.pointCount();
            entry["faces"] = body.faces.size();
            entry["taggs"] = body.taggs.size();
        }
        description.entries.push_back(std::move(entry));
    }
    if (shown < model.GetLodCount())
        description.lines.push_back("the header names " + std::to_string(model.GetLodCount()) +
                                    " LODs, more than the file can hold");
    model.Close();
}

// ---- Texture indexes -----------------------------------------------------------------------------

bool looksLikeTextureIndex(const InfoInput& input) { return startsWith(input.head(), "0DHT"); }

void describeTextureIndex(Tool& tool, InfoInput& input, Description& description) {
    using archivefile::TexFile;
    if (!readWhole(input, description)) return;
    TexFile& index = *tool.root().texFile();
    index.SetCallBack(collect);
    const std::span<const unsigned char> bytes = input.bytes();
    const int code = index.OpenTex(nullptr, bytes.data(), static_cast<unsigned int>(bytes.size()));
    takeReported(description);
    if (code != 0) {
        fail(description, index, code);
        return;
    }
    const archivefile::TexBody& body = *index.GetTexBody();
    description.lines.push_back(std::to_string(body.size()) + " textures");
    description.fields["count"] = body.size();
    for (const TexFile::Entry& entry : body) {
        description.lines.push_back(std::string(entry.path) + ": " + std::to_string(entry.mipmapCount) +
                                    " mipmaps, pixel format " + std::to_string(entry.pixelFormat()));
        description.entries.push_back(
            {{"path", entry.path}, {"mipmaps", entry.mipmapCount}, {"pixelFormat", entry.pixelFormat()}});
    }
    index.Close();
}

// ---- Textures and sounds -------------------------------------------------------------------------

// A texture's first word names its type and its taggs ("GGAT...") follow; a palette texture begins
// with its first tagg.
bool looksLikeTexture(const InfoInput& input) {
    const std::span<const unsigned char> head = input.head();
    if (startsWith(head, "GGAT")) return true;
    if (head.size() < 6) return false;
    const unsigned type = head[0] | head[1] << 8;
    static constexpr unsigned types[] = {0xFF01, 0xFF02, 0xFF03, 0xFF04, 0xFF05, 0x4444, 0x1555, 0x8888, 0x8080};
    return std::find(std::begin(types), std::end(types), type) != std::end(types) &&
           (startsWith(head, "GGAT", 2) || (head[2] == 0 && head[3] == 0));
}

bool looksLikeSound(const InfoInput& input) {
    return startsWith(input.head(), "WSS0") || (startsWith(input.head(), "RIFF") && startsWith(input.head(), "WAVE", 8));
}

// The header is enough for the report; --strict turns the sound reader's warnings into failures.
void describeSound(Tool& tool, InfoInput& input, Description& description) {
    using archivefile::VexSound;
    VexSound& sound = *tool.root().vexSound();
    const int code =
        sound.Open(input.path().c_str(), collect, VexSound::HeaderOnly | (description.strict ? VexSound::Strict : 0));
    takeReported(description);
    // In a brief description the header report is the fields; what stays is what the reader warned of.
    static constexpr std::string_view report[] = {"WSS ",          "WAV",       "SampleRate ", "Bytes per Second ",
                                                  "BlockAlign ",   "BitsPerSample ", "Unused short ", "Subchunk: ",
                                                  "Playtime: ",    "Audio data "};
    std::erase_if(description.warnings, [](const std::string& line) {
        return std::any_of(std::begin(report), std::end(report),
                           [&](std::string_view start) { return line.starts_with(start); });
    });
    if (code != 0) {
        fail(description, sound, code);
        sound.Close();
        return;
    }
    const VexSound::Description& header = sound.description();
    ordered_json& fields = description.fields;
    fields["form"] = startsWith(input.head(), "WSS0") ? "wss" : "wave";
    fields["compression"] = header.compression;
    fields["channels"] = header.channels;
    fields["sampleRate"] = header.sampleRate;
    fields["bitsPerSample"] = header.bitsPerSample;
    fields["dataBytes"] = header.dataSize;
    sound.Close();
}

// Every line a texture reports is part of its report (type, taggs, palette, mipmaps); in a brief
// description those are the fields, and lines are kept only when the texture was refused.
void describeTexture(Tool& tool, InfoInput& input, Description& description) {
    using archivefile::PacFile;
    PacFile& texture = *tool.root().pacFile();
    const int code = texture.Open(input.path().c_str(), collect);
    takeReported(description);
    if (code != 0) {
        fail(description, texture, code);
        if (code == archivefile::GE_DebugTrap && *texture.typeRuleBroken())
            description.message += std::string("; ") + texture.typeRuleBroken();
        texture.Close();
        return;
    }
    if (description.brief) description.warnings.clear();
    ordered_json& fields = description.fields;
    fields["type"] = PacFile::GetTypeStr(texture.type());
    const auto tagg = [](const PacFile::Tagg& value) {
        return value.present ? ordered_json(value.value) : ordered_json();
    };
    fields["averageColour"] = tagg(texture.avgc());
    fields["maximumColour"] = tagg(texture.maxc());
    fields["flag"] = tagg(texture.flag());
    fields["swizzle"] = tagg(texture.swiz());
    fields["procedure"] = texture.proc().present ? ordered_json(texture.proc().text.GetName()) : ordered_json();
    fields["paletteColours"] = texture.palette().count;
    fields["mipmaps"] = texture.mipMaps().size();
    const PacFile::MipMaps& mipmaps = texture.mipMaps();
    for (const PacFile::MipMap* mipmap = mipmaps.GetFirst(); mipmap; mipmap = mipmaps.GetNext(mipmap)) {
        description.entries.push_back({{"width", mipmap->width},
                                       {"height", mipmap->height},
                                       {"compressed", mipmap->compressed},
                                       {"storedSize", mipmap->stored().size()},
                                       {"size", mipmap->pixels().size()}});
    }
    texture.Close();
}

// ---- Fonts ---------------------------------------------------------------------------------------

// A table of the old layout has no signature: a file of its exact size is one.
bool looksLikeFont(const InfoInput& input) {
    return startsWith(input.head(), "VXFo") ||
           input.size() == archivefile::FxyFile::OldRecords * archivefile::FxyFile::OldRecordSize;
}

void describeFont(Tool& tool, InfoInput& input, Description& description) {
    using archivefile::FxyFile;
    if (!readWhole(input, description)) return;
    FxyFile& font = *tool.root().fxyFile();
    const std::span<const unsigned char> bytes = input.bytes();
    const int code = font.OpenFxy(nullptr, bytes.data(), static_cast<unsigned int>(bytes.size()));
    if (code != 0) {
        fail(description, font, code);
        return;
    }
    const bool kern = font.IsKern() != 0;
    description.lines.push_back(std::string(kern ? "new layout (\"VXFo\", version 257)" : "old layout (no signature)") +
                                ": " + std::to_string(font.entryCount()) + " records of " +
                                std::to_string(font.entrySize()) + " bytes");
    description.fields["layout"] = kern ? "new" : "old";
    description.fields["records"] = font.entryCount();
    description.fields["recordSize"] = font.entrySize();
    font.Close();
}

constexpr InfoKind kinds[] = {
    {"binarised config", looksLikeRap, describeRap},
    {"model", looksLikeModel, describeModel},
    {"texture index", looksLikeTextureIndex, describeTextureIndex},
    {"sound", looksLikeSound, describeSound},
    {"texture", looksLikeTexture, describeTexture},
    {"archive", looksLikeArchive, describeArchive},
    {"font", looksLikeFont, describeFont},
};

}  // namespace

std::span<const InfoKind> infoKinds() { return kinds; }

}  // namespace vex
