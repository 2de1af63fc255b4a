// The Python module `archivefile`: archives, configs, models, textures, sounds, fonts and texture
// indexes for build scripts and editors written in Python. Each call works on a root of its own, runs
// without the interpreter lock, and turns a failure into archivefile.Error (archivefile.ConfigError
// for configs) carrying the library's code, its message and the lines the operation reported.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/config/RapFile.h"
#include "archivefile/config/Rapify.h"
#include "archivefile/foundation/GenString.h"
#include "archivefile/foundation/GenericError.h"
#include "archivefile/foundation/NamePatterns.h"
#include "archivefile/foundation/VexDLLExt.h"
#include "archivefile/media/FxyFile.h"
#include "archivefile/media/VexSound.h"
#include "archivefile/model/P3dFile.h"
#include "archivefile/texture/PacFile.h"
#include "archivefile/texture/TexFile.h"

namespace py = pybind11;
using namespace pybind11::literals;
using archivefile::ArchiveFile;

namespace {

// The exception types live as long as the process: no reference to them is ever given back.
py::handle errorType;
py::handle configErrorType;

// Texts of files and of the library are 8-bit: bytes that are not UTF-8 survive as surrogates.
py::str text(std::string_view bytes) {
    PyObject* decoded = PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()), "surrogateescape");
    if (decoded == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(decoded);
}

// The lines of one call go to the caller's callable, or are kept for the error when there is none.
// The library's callback carries no context, so the call in progress on this thread is found here;
// the library calls back only on the thread that called it.
class LogRoute {
public:
    explicit LogRoute(py::object callable = py::none()) : callable_(std::move(callable)), previous_(current) { current = this; }
    ~LogRoute() { current = previous_; }
    LogRoute(const LogRoute&) = delete;
    LogRoute& operator=(const LogRoute&) = delete;

    static bool deliver(const char* line, ...) {
        LogRoute* route = current;
        if (route == nullptr || line == nullptr) return true;
        // Some reports come in pieces ("WAV", then "Mono"): lines are passed on once they end.
        route->pending_ += line;
        std::size_t end;
        while ((end = route->pending_.find('\n')) != std::string::npos) {
            route->endLine(end);
            if (route->callable_.is_none() || route->failure_) continue;
            py::gil_scoped_acquire withInterpreter;
            try {
                route->callable_(text(route->lines_.back()));
            } catch (py::error_already_set& raised) {
                // An exception in the callable stops the operation as a cancel does; it is raised
                // again once the library has cleaned up.
                route->failure_ = std::move(raised);
                archivefile::raise(archivefile::GE_UserCancelled);
            }
        }
        return true;
    }

    archivefile::LogCallback callback() const { return &LogRoute::deliver; }

    // Raises what the callable raised, if it did.
    void rethrow() {
        if (!failure_) return;
        py::error_already_set failure = std::move(*failure_);
        failure_.reset();
        throw failure;
    }

    // The lines reported so far, as the handler's report.
    py::list lines() {
        if (!pending_.empty()) endLine(pending_.size());
        py::list all;
        for (const std::string& line : lines_) all.append(text(line));
        return all;
    }

    // Raises what the callable raised, else Error for a code other than 0.
    void check(int code, const char* message) {
        rethrow();
        if (code != 0) fail(code, message);
    }

    [[noreturn]] void fail(int code, const char* message, py::dict extra = {}, py::handle type = errorType) {
        rethrow();
        py::object error = type(text(std::string(message) + " (code " + std::to_string(code) + ")"));
        error.attr("code") = code;
        error.attr("message") = text(message);
        error.attr("lines") = lines();
        for (auto item : extra) error.attr(item.first) = item.second;
        PyErr_SetObject(type.ptr(), error.ptr());
        throw py::error_already_set();
    }

private:
    // Moves the text before `end` out of the pending text as a line, without its line end.
    void endLine(std::size_t end) {
        std::string_view line(pending_.data(), end);
        while (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        lines_.emplace_back(line);
        pending_.erase(0, std::min(end + 1, pending_.size()));
    }

    static thread_local LogRoute* current;
    py::object callable_;
    std::vector<std::string> lines_;
    std::string pending_;
    std::optional<py::error_already_set> failure_;
    LogRoute* previous_;
};

thread_local LogRoute* LogRoute::current = nullptr;

// Runs `operation` without the interpreter lock, so that other Python threads go on meanwhile.
template <class Operation>
auto released(Operation&& operation) {
    py::gil_scoped_release withoutInterpreter;
    return operation();
}

std::string native(const std::filesystem::path& path) { return path.string(); }

int configOptions(bool reference) {
    return reference ? 0 : archivefile::Rapify::ExtendedSyntax | archivefile::Rapify::KernByDefault;
}

int packStyle(const std::string& style) {
    if (style == "kqm") return ArchiveFile::StyleKqm;
    if (style == "vanguard") return ArchiveFile::StyleVanguard;
    if (style == "kern-nosha") return ArchiveFile::StyleKernNoSha;
    if (style == "regal") return ArchiveFile::StyleRegal;
    if (style == "kern") return ArchiveFile::StyleKern;
    throw py::value_error("style must be kqm, vanguard, kern-nosha, regal or kern, not " + style);
}

struct EntryInfo {
    std::string name;
    std::uint32_t size;
    std::uint32_t storedSize;
    std::uint32_t time;
    bool compressed;
};

// An archive open for reading, with a root of its own. Its calls run without the interpreter lock, so
// one call at a time holds the handler; the lock is taken only once the interpreter's is let go, so
// that a log callable, which takes the interpreter's, never waits for a thread that waits for it.
class Archive {
private:
    ArchiveFile& archive() const { return *root_->archiveFile(); }

    template <class Operation>
    auto locked(Operation&& operation) {
        return released([&] {
            const std::lock_guard<std::mutex> hold(mutex_);
            return operation();
        });
    }

    // Runs `operation` on the open archive; a closed one raises ValueError.
    template <class Operation>
    auto whileOpen(Operation&& operation) {
        bool open = false;
        auto result = locked([&] {
            open = archive().isOpen();
            return open ? operation() : decltype(operation()){};
        });
        if (!open) throw py::value_error("the archive is closed");
        return result;
    }

public:
    Archive(const std::filesystem::path& path, py::object log) {
        const std::string file = native(path);
        LogRoute route(std::move(log));
        const int code = locked([&] { return archive().OpenPbo(file.c_str(), route.callback(), ArchiveFile::OpenAsNamed); });
        route.check(code, archive().ErrorString(code));
    }

    std::vector<EntryInfo> entries() {
        return whileOpen([&] {
            std::vector<EntryInfo> list;
            for (auto* entry = archive().GetChain(); entry != nullptr; entry = archive().GetNext(entry))
                list.push_back({entry->name(), entry->isCompressed() ? entry->originalSize() : entry->dataSize(),
                                entry->dataSize(), entry->timeStamp(), entry->isCompressed()});
            return list;
        });
    }

    py::dict properties() {
        const auto pairs = whileOpen([&] {
            std::vector<std::pair<std::string, std::string>> copied;
            for (const archivefile::TokenPair& property : archive().properties())
                copied.emplace_back(property.name.view(), property.value.view());
            return copied;
        });
        py::dict all;
        for (const auto& [name, value] : pairs) all[text(name)] = text(value);
        return all;
    }

    py::object prefix() {
        const auto prefix = whileOpen([&] {
            return archive().HasPrefix() ? std::optional<std::string>(archive().GetPrefix()) : std::nullopt;
        });
        return prefix ? py::object(text(*prefix)) : py::none();
    }

    int type() {
        return whileOpen([&] { return archive().GetPboType(); });
    }

    py::str headerReport() {
        return text(whileOpen([&] { return std::string(archive().headerReport()); }));
    }

    py::bytes read(const std::string& name, bool decode, bool reference) {
        LogRoute route;
        const int flags = decode ? ArchiveFile::DecodeData | (reference ? 0 : ArchiveFile::KeepTextBytes) : 0;
        std::string data;
        bool found = false;
        const int code = whileOpen([&] {
            archivefile::pbo_entry* entry = archive().FindEntry(name.c_str());
            found = entry != nullptr;
            if (!found) return 0;
            const int result = archive().GetFileData(entry, flags);
            if (result == 0) data.assign(reinterpret_cast<const char*>(entry->data().data()), entry->data().size());
            entry->FreeData();
            return result;
        });
        if (!found) throw py::key_error("no entry " + name);
        route.check(code, archive().ErrorString(code));
        return py::bytes(data);
    }

    std::string extract(const std::optional<std::filesystem::path>& destination, const std::optional<std::string>& files,
                        bool decode, bool ignorePrefix, bool reference, py::object log) {
        LogRoute route(std::move(log));
        std::optional<archivefile::NamePatterns> selection;
        if (files) selection.emplace(*files);
        const std::string folder = destination ? native(*destination) : std::string();
        unsigned flags = ArchiveFile::Brief;
        if (decode) flags |= ArchiveFile::DecodeText | (reference ? 0 : ArchiveFile::KeepText);
        if (ignorePrefix) flags |= ArchiveFile::IgnorePrefix;
        std::string written;
        const int code = whileOpen([&] {
            archive().setConfigOptions(configOptions(reference));
            archive().setSelection(selection ? &*selection : nullptr);
            const int result = archive().ExtractPreOpened(flags, nullptr, destination ? folder.c_str() : nullptr, 0);
            archive().setSelection(nullptr);
            written = archive().extractionFolder();
            return result;
        });
        route.check(code, archive().ErrorString(code));
        return written;
    }

    void close() {
        locked([&] { return archive().ClosePbo(); });
    }

private:
    std::unique_ptr<archivefile::VexDLL> root_ = std::make_unique<archivefile::VexDLL>();
    std::mutex mutex_;
};

std::string pack(const std::filesystem::path& folder, const std::optional<std::filesystem::path>& output,
                 const std::string& style, const std::optional<std::string>& prefix, bool compress,
                 const std::string& neverCompress, const std::optional<std::string>& exclude,
                 const std::optional<std::filesystem::path>& includeRoot, bool binarize,
                 std::optional<std::int64_t> mtime, bool reference, py::object log) {
    int flags = packStyle(style);
    if (compress) flags |= ArchiveFile::CompressEntries;
    if (!binarize) flags |= ArchiveFile::KeepConfigText;
    archivefile::VexDLL root;
    ArchiveFile& archive = *root.archiveFile();
    archivefile::NamePatterns exclusion(exclude.value_or(""));
    const std::string source = native(folder), target = output ? native(*output) : std::string();
    const std::string includeFolder = includeRoot ? native(*includeRoot) : std::string();
    LogRoute route(std::move(log));
    const int code = released([&] {
        archive.setBuildTime(mtime);
        archive.setIncludeRoot(includeFolder.c_str());
        archive.setConfigOptions(configOptions(reference));
        archive.setExclusion(exclusion.empty() ? nullptr : &exclusion);
        return archive.MakePboNew(source.c_str(), flags, output ? target.c_str() : nullptr, route.callback(),
                                  neverCompress.c_str(), prefix ? prefix->c_str() : nullptr);
    });
    route.check(code, archive.ErrorString(code));
    return archive.builtArchive();
}

// Fails with ConfigError: where the first error of the compile stands.
[[noreturn]] void failCompile(LogRoute& route, archivefile::Rapify& compiler, int code) {
    const auto& place = compiler.errorPlace();
    py::dict extra("file"_a = text(compiler.ErrFname()), "line"_a = compiler.LineCount(),
                   "source_line"_a = text(place.line), "expansion"_a = text(place.expansion),
                   "column"_a = place.column == std::string::npos ? py::object(py::none()) : py::int_(place.column));
    route.fail(code, compiler.ErrorString(code), extra, configErrorType);
}

template <class Compile>
py::bytes compile(Compile&& run, bool kern, const std::optional<std::filesystem::path>& includeRoot, py::object log) {
    archivefile::VexDLL root;
    archivefile::Rapify& compiler = *root.rapify();
    const std::string folder = includeRoot ? native(*includeRoot) : std::string();
    std::vector<std::uint8_t> bytes;
    LogRoute route(std::move(log));
    const int code = released([&] {
        if (includeRoot) compiler.SetIncludeRoot(folder.c_str());
        const int compiled = run(compiler, route.callback());
        return compiled != 0 ? compiled : compiler.OutputRap(bytes, kern);
    });
    route.rethrow();
    if (code != 0) failCompile(route, compiler, code);
    return py::bytes(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

py::dict checkConfig(const std::filesystem::path& path, const std::optional<std::filesystem::path>& includeRoot,
                     bool reference, py::object log) {
    archivefile::VexDLL root;
    archivefile::Rapify& compiler = *root.rapify();
    const std::string file = native(path), folder = includeRoot ? native(*includeRoot) : std::string();
    LogRoute route(std::move(log));
    const int code = released([&] {
        if (includeRoot) compiler.SetIncludeRoot(folder.c_str());
        return compiler.OpenRapText(file.c_str(), configOptions(reference), route.callback());
    });
    route.rethrow();
    if (code != 0) failCompile(route, compiler, code);
    const auto& counted = compiler.statistics();
    return py::dict("classes"_a = counted.classes, "extern_classes"_a = counted.externClasses,
                    "values"_a = counted.values, "defines"_a = counted.defines, "files_read"_a = counted.filesRead,
                    "lines"_a = counted.lines);
}

py::str decodeConfig(const py::bytes& data, bool tabs, bool reference) {
    archivefile::VexDLL root;
    archivefile::RapFile& decoder = *root.rapFile();
    const std::string bytes = data;
    LogRoute route;
    const int code = released([&] {
        decoder.SetCallBack(route.callback());
        decoder.SetTabChar(tabs);
        return decoder.Rap2Text({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}, "",
                                reference ? 0 : archivefile::RapFile::ExtendedSyntax);
    });
    route.check(code, decoder.ErrorString(code));
    return text(decoder.decodedText());
}

py::dict describeModel(const std::filesystem::path& path) {
    archivefile::VexDLL root;
    archivefile::P3dFile& model = *root.p3dFile();
    const std::string file = native(path);
    LogRoute route;
    const int code = released([&] {
        archivefile::P3dHeader::setK3PrefixOutput(nullptr);
        return model.Open(file.c_str(), route.callback());
    });
    route.check(code, model.ErrorString(static_cast<unsigned char>(code)));
    archivefile::GenString type;
    model.GetTypeStr(&type);
    std::string_view typeLine = type.view();
    while (!typeLine.empty() && (typeLine.back() == '\n' || typeLine.back() == '\r')) typeLine.remove_suffix(1);
    py::list lods;
    for (unsigned lod = 0; lod < model.GetLodCount(); ++lod)
        lods.append(py::dict("resolution"_a = model.GetResolution(static_cast<int>(lod)),
                             "name"_a = text(archivefile::P3dFile::lodName(model.GetResolution(static_cast<int>(lod))))));
    py::list textures;
    for (const std::string& name : model.GetP3dFilenames()) textures.append(text(name));
    py::dict description("kind"_a = model.GetType(), "report"_a = route.lines(), "type"_a = text(typeLine), "editable"_a = model.IsMlod() != 0,
                         "lods"_a = lods, "textures"_a = textures);
    if (model.GetType() == archivefile::P3dHeader::KindOdol58)
        description["prefix"] = text(archivefile::P3dHeader::k3Prefix());
    return description;
}

py::dict describeTexture(const std::filesystem::path& path) {
    archivefile::VexDLL root;
    archivefile::PacFile& texture = *root.pacFile();
    const std::string file = native(path);
    LogRoute route;
    const int code = released([&] { return texture.Open(file.c_str(), route.callback()); });
    route.check(code, texture.ErrorString(code));
    py::dict taggs;
    const auto value = [&](const char* name, const archivefile::PacFile::Tagg& tagg) {
        if (tagg.present) taggs[name] = tagg.value;
    };
    value("AVGC", texture.avgc());
    value("MAXC", texture.maxc());
    value("FLAG", texture.flag());
    value("SWIZ", texture.swiz());
    if (texture.proc().present) taggs["PROC"] = text(texture.proc().text.view());
    py::list mipmaps;
    for (auto* mipmap = texture.mipMaps().GetFirst(); mipmap != nullptr; mipmap = texture.mipMaps().GetNext(mipmap))
        mipmaps.append(py::dict("width"_a = mipmap->width, "height"_a = mipmap->height,
                                "compressed"_a = mipmap->compressed, "stored_size"_a = mipmap->stored().size(),
                                "size"_a = mipmap->pixels().size()));
    return py::dict("type"_a = text(archivefile::PacFile::GetTypeStr(texture.type())), "type_code"_a = texture.type(),
                    "taggs"_a = taggs, "report"_a = route.lines(), "palette"_a = texture.palette().count, "mipmaps"_a = mipmaps);
}

py::dict describeSound(const std::filesystem::path& path) {
    archivefile::VexDLL root;
    archivefile::VexSound& sound = *root.vexSound();
    const std::string file = native(path);
    LogRoute route;
    const int code = released([&] { return sound.Open(file.c_str(), route.callback(), archivefile::VexSound::HeaderOnly); });
    route.check(code, sound.ErrorString(code));
    const auto& heard = sound.description();
    // Both forms are read by the same call; the signature tells which one it was.
    char signature[4] = {};
    std::ifstream(file, std::ios::binary).read(signature, sizeof signature);
    return py::dict("form"_a = std::string_view(signature, 4) == "WSS0" ? "WSS" : "WAVE", "report"_a = route.lines(), "compression"_a = heard.compression, "format_tag"_a = heard.formatTag,
                    "channels"_a = heard.channels, "sample_rate"_a = heard.sampleRate,
                    "bytes_per_second"_a = heard.bytesPerSecond, "block_align"_a = heard.blockAlign,
                    "bits_per_sample"_a = heard.bitsPerSample, "data_size"_a = heard.dataSize);
}

py::dict describeFont(const std::filesystem::path& path) {
    archivefile::VexDLL root;
    archivefile::FxyFile& font = *root.fxyFile();
    const std::string file = native(path);
    LogRoute route;
    const int code = released([&] { return font.OpenFxy(file.c_str(), nullptr, 0); });
    route.check(code, font.ErrorString(code));
    return py::dict("layout"_a = font.IsKern() ? "VXFo" : "plain", "records"_a = font.entryCount(),
                    "record_size"_a = font.entrySize());
}

py::dict describeTextureIndex(const std::filesystem::path& path) {
    archivefile::VexDLLExt root;
    archivefile::TexFile& index = *root.texFile();
    const std::string file = native(path);
    LogRoute route;
    const int code = released([&] {
        index.SetCallBack(route.callback());
        return index.OpenTex(file.c_str(), nullptr, 0);
    });
    route.check(code, index.ErrorString(code));
    py::list textures;
    for (const auto& entry : *index.GetTexBody())
        textures.append(py::dict("path"_a = text(entry.path), "mipmaps"_a = entry.mipmapCount,
                                 "pixel_format"_a = entry.pixelFormat()));
    return py::dict("textures"_a = textures);
}

}  // namespace

PYBIND11_MODULE(archivefile, module) {
    module.doc() = "Archives (.pbo), configs and their binarised form, models, textures, sounds and fonts.";
    module.attr("__version__") = archivefile::VexDLL::versionText();

    errorType = py::handle(PyErr_NewExceptionWithDoc(
        "archivefile.Error", "A failed operation: code, message, and the lines it reported.", PyExc_RuntimeError, nullptr));
    configErrorType = py::handle(PyErr_NewExceptionWithDoc(
        "archivefile.ConfigError", "A config that does not compile: also file, line, source_line, expansion, column.",
        errorType.ptr(), nullptr));
    module.attr("Error") = errorType;
    module.attr("ConfigError") = configErrorType;

    py::class_<EntryInfo>(module, "Entry", "One entry of an archive.")
        .def_property_readonly("name", [](const EntryInfo& entry) { return text(entry.name); })
        .def_readonly("size", &EntryInfo::size, "Bytes once expanded.")
        .def_readonly("stored_size", &EntryInfo::storedSize, "Bytes in the archive.")
        .def_readonly("time", &EntryInfo::time, "Seconds since 1970, UTC; 0 when none was kept.")
        .def_readonly("compressed", &EntryInfo::compressed)
        .def("__repr__", [](const EntryInfo& entry) {
            return "<Entry " + entry.name + " " + std::to_string(entry.size) + " bytes>";
        });

    py::class_<Archive>(module, "Archive", "An archive open for reading; also a context manager.")
        .def(py::init<const std::filesystem::path&, py::object>(), "path"_a, "log"_a = py::none(),
             "Opens and checks an archive; the header report goes to `log` line by line.")
        .def_property_readonly("entries", &Archive::entries)
        .def_property_readonly("properties", &Archive::properties)
        .def_property_readonly("prefix", &Archive::prefix)
        .def_property_readonly("type", &Archive::type)
        .def_property_readonly("header_report", &Archive::headerReport)
        .def("read", &Archive::read, "name"_a, "decode"_a = false, "reference"_a = false,
             "One entry's bytes, expanded; with decode, a binarised config as its text.")
        .def("extract", &Archive::extract, "destination"_a = py::none(), "files"_a = py::none(), "decode"_a = false,
             "ignore_prefix"_a = false, "reference"_a = false, "log"_a = py::none(),
             "Writes the entries (or those the comma-separated shell patterns of `files` pick) under "
             "`destination`; returns the folder written.")
        .def("close", &Archive::close)
        .def("__enter__", [](Archive& archive) -> Archive& { return archive; })
        .def("__exit__", [](Archive& archive, py::args) { archive.close(); });

    module.def("pack", &pack, "folder"_a, "output"_a = py::none(), py::kw_only(), "style"_a = "kern",
               "prefix"_a = py::none(), "compress"_a = false, "never_compress"_a = "ogg,paa,pac,jpg,png,wss",
               "exclude"_a = py::none(), "include_root"_a = py::none(), "binarize"_a = true, "mtime"_a = py::none(),
               "reference"_a = false, "log"_a = py::none(),
               "Builds an archive from a folder; returns the path of the archive written.");
    module.def(
        "compile_config",
        [](const std::string& source, const std::string& name, bool kern, const std::optional<std::filesystem::path>& includeRoot,
           bool reference, py::object log) {
            return compile([&](archivefile::Rapify& compiler, archivefile::LogCallback callback) {
                return compiler.Text2RapClass(source, configOptions(reference), callback, name.c_str());
            }, kern, includeRoot, std::move(log));
        },
        "text"_a, py::kw_only(), "name"_a = "config.cpp", "kern"_a = false, "include_root"_a = py::none(),
        "reference"_a = false, "log"_a = py::none(), "Compiles config text into its binarised form (raP).");
    module.def(
        "compile_config_file",
        [](const std::filesystem::path& path, bool kern, const std::optional<std::filesystem::path>& includeRoot,
           bool reference, py::object log) {
            const std::string file = native(path);
            return compile([&](archivefile::Rapify& compiler, archivefile::LogCallback callback) {
                return compiler.OpenRapText(file.c_str(), configOptions(reference), callback);
            }, kern, includeRoot, std::move(log));
        },
        "path"_a, py::kw_only(), "kern"_a = false, "include_root"_a = py::none(), "reference"_a = false,
        "log"_a = py::none(), "Compiles a config file (and what it includes) into its binarised form (raP).");
    module.def("check_config", &checkConfig, "path"_a, py::kw_only(), "include_root"_a = py::none(),
               "reference"_a = false, "log"_a = py::none(),
               "Preprocesses and parses a config; returns what it holds, or raises ConfigError.");
    module.def("decode_config", &decodeConfig, "data"_a, py::kw_only(), "tabs"_a = false, "reference"_a = false,
               "Turns a binarised config back into config text.");
    module.def("describe_model", &describeModel, "path"_a);
    module.def("describe_texture", &describeTexture, "path"_a);
    module.def("describe_sound", &describeSound, "path"_a);
    module.def("describe_font", &describeFont, "path"_a);
    module.def("describe_texture_index", &describeTextureIndex, "path"_a);
}
