// vex texture to-png and from-png: textures turned into PNG images and PNG images into textures.
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>

#include "archivefile/foundation/GenericError.h"
#include "archivefile/texture/PacFile.h"
#include "archivefile/texture/TextureImage.h"
#include "tools/vex/Batch.h"
#include "tools/vex/PngImage.h"
#include "tools/vex/Tool.h"

namespace vex {

namespace {

using archivefile::PacFile;

struct ToPngOptions {
    std::vector<std::string> inputs;
    std::string output;
    int mip = -1;
    bool all = false;
    unsigned jobs = 1;
};

struct FromPngOptions {
    std::vector<std::string> inputs;
    std::string output;
    std::string format = "auto";
    std::string quality = "normal";
    unsigned jobs = 1;
};

constexpr unsigned LargestSide = 16384;

// "path: message (code N)", with the broken rule when the texture's taggs do not suit its type.
int reportTexture(const Tool& tool, const PacFile& texture, const std::string& path, int code) {
    std::string text = path + ": " + texture.ErrorString(code);
    if (code == archivefile::GE_DebugTrap && *texture.typeRuleBroken() != '\0')
        text += std::string("; ") + texture.typeRuleBroken();
    return tool.report(code, text);
}

// `path` without its extension when that is `extension`.
std::string withoutExtension(const std::string& path, const char* extension) {
    std::filesystem::path name(path);
    if (name.extension() == extension) name.replace_extension();
    return name.string();
}

// Where a command writes what it makes of `input`: `output` when that names a file; the input's name
// with `extension` beside the input when no output is named, or inside `output` when that is a folder
// or ends in a separator.
std::string outputFor(const std::string& input, const std::string& output, const char* extension) {
    std::filesystem::path made(input == "-" ? "texture" : input);
    made.replace_extension(extension);
    return output.empty() ? made.string() : Tool::outputIn(output, made.filename().string());
}

int writeMipMap(Tool& tool, PacFile& texture, const std::string& input, const PacFile::MipMap& mipmap, int index,
                const std::string& output) {
    archivefile::TextureImage image;
    const int code = texture.decodeImage(mipmap, image, tool.callback());
    if (code != archivefile::GE_NoError)
        return reportTexture(tool, texture, input + ", mipmap " + std::to_string(index), code);
    if (output != "-" && !tool.makeFoldersFor(output)) return Failure;
    std::string error;
    if (!PngImage::write(output, image, error)) return tool.fail(error);
    if (output != "-")
        tool.wrote(output, std::string(PacFile::GetTypeStr(texture.type())) + " mipmap " + std::to_string(index) + ", " +
                               std::to_string(image.width()) + " x " + std::to_string(image.height()));
    return Success;
}

int writeMipMaps(Tool& tool, PacFile& texture, const ToPngOptions& options, const std::string& input) {
    std::vector<const PacFile::MipMap*> mipmaps;
    for (const PacFile::MipMap* m = texture.mipMaps().GetFirst(); m != nullptr; m = texture.mipMaps().GetNext(m))
        mipmaps.push_back(m);
    if (mipmaps.empty()) return tool.fail(input + " has no mipmaps");
    const std::string output = outputFor(input, options.output, ".png");
    const std::string base = withoutExtension(output, ".png");
    if (options.all) {
        for (std::size_t index = 0; index < mipmaps.size(); ++index) {
            const int status = writeMipMap(tool, texture, input, *mipmaps[index], static_cast<int>(index),
                                           base + "_mip" + std::to_string(index) + ".png");
            if (status != Success) return status;
        }
        return Success;
    }
    if (options.mip >= static_cast<int>(mipmaps.size()))
        return tool.fail(input + " has " + std::to_string(mipmaps.size()) + " mipmaps, numbered from 0");
    // By default the largest mipmap, which is the first in every texture made the usual way.
    std::size_t chosen = 0;
    const auto area = [](const PacFile::MipMap* m) { return std::uint64_t{m->width} * m->height; };
    for (std::size_t index = 1; index < mipmaps.size(); ++index)
        if (area(mipmaps[index]) > area(mipmaps[chosen])) chosen = index;
    if (options.mip >= 0) chosen = static_cast<std::size_t>(options.mip);
    return writeMipMap(tool, texture, input, *mipmaps[chosen], static_cast<int>(chosen), output);
}

int toPngOne(Tool& tool, const ToPngOptions& options, const std::string& input) {
    PacFile* texture = tool.root().pacFile();
    if (texture == nullptr) return tool.fail("the texture handler is not available");
    std::string path;
    if (const int status = tool.input(input, Expected::Texture, path, ".paa"); status != Success) return status;
    if (options.output == "-") {
        if (const int status = tool.binaryToStandardOutput(); status != Success) return status;
    }
    // The texture's report is shown with -v only: what was asked for is the image.
    const int code = texture->Open(path.c_str(), tool.detailCallback());
    const int status = code == archivefile::GE_NoError ? writeMipMaps(tool, *texture, options, input)
                                                       : reportTexture(tool, *texture, input, code);
    texture->Close();
    return status;
}

int typeOf(const std::string& format, const archivefile::TextureImage& image) {
    static const std::map<std::string, int> types = {
        {"dxt1", PacFile::TypeDxt1},         {"dxt5", PacFile::TypeDxt5}, {"argb4444", PacFile::TypeArgb4444},
        {"argb1555", PacFile::TypeArgb1555}, {"grey", PacFile::TypeGrey},
    };
    if (format == "auto") return image.isOpaque() ? PacFile::TypeDxt1 : PacFile::TypeDxt5;
    return types.at(format);
}

int fromPngOne(Tool& tool, const FromPngOptions& options, const std::string& input) {
    PacFile* texture = tool.root().pacFile();
    if (texture == nullptr) return tool.fail("the texture handler is not available");
    std::string path;
    if (const int status = tool.input(input, Expected::Png, path); status != Success) return status;
    archivefile::TextureImage image;
    std::string error;
    if (!PngImage::read(path, input, image, LargestSide, error)) return tool.fail(error);
    if (!PacFile::canBuildFrom(image.width(), image.height()))
        return tool.fail(input + " is " + std::to_string(image.width()) + " x " +
                         std::to_string(image.height()) + "; a texture's sides are powers of two from 4 to 16384");
    std::string output = outputFor(input, options.output, ".paa");
    // The texture writer adds ".paa" to a name without extension.
    if (std::filesystem::path(output).extension().empty()) output += ".paa";
    if (!tool.makeFoldersFor(output)) return Failure;
    static const std::map<std::string, PacFile::Quality> qualities = {
        {"fast", PacFile::Quality::Fast}, {"normal", PacFile::Quality::Normal}, {"best", PacFile::Quality::Best}};
    int code = texture->buildFromImage(image, typeOf(options.format, image), qualities.at(options.quality),
                                       tool.callback());
    int status = reportTexture(tool, *texture, input, code);
    if (status == Success) status = reportTexture(tool, *texture, output, texture->CreatePac(output.c_str()));
    if (status == Success) {
        std::error_code ignored;
        tool.wrote(output, std::string(PacFile::GetTypeStr(texture->type())) + ", " + std::to_string(image.width()) +
                               " x " + std::to_string(image.height()) + ", " +
                               std::to_string(texture->mipMaps().size()) + " mipmaps, " +
                               Tool::sizeText(std::filesystem::file_size(output, ignored)));
    }
    texture->Close();
    return status;
}

int toPng(Tool& tool, const ToPngOptions& options) {
    if (const int status = Batch::checkOutput(tool, options.inputs, options.output); status != Success) return status;
    Batch batch(tool, options.jobs, "textures", "converted");
    return batch.run(options.inputs, [&options](Tool& worker, const std::string& input) {
        return toPngOne(worker, options, input);
    });
}

int fromPng(Tool& tool, const FromPngOptions& options) {
    if (options.output == "-") return tool.fail("a texture is written to a file; name one with -o");
    if (const int status = Batch::checkOutput(tool, options.inputs, options.output); status != Success) return status;
    Batch batch(tool, options.jobs, "images", "converted");
    return batch.run(options.inputs, [&options](Tool& worker, const std::string& input) {
        return fromPngOne(worker, options, input);
    });
}

}  // namespace

void addTextureCommands(CLI::App& app, Tool& tool) {
    CLI::App* group = app.add_subcommand("texture", "Turn textures (.paa, .pac) into PNG images and back");
    group->require_subcommand(1);

    auto toOptions = std::make_shared<ToPngOptions>();
    CLI::App* toPngCommand = group->add_subcommand("to-png", "Write a mipmap of a texture as a PNG image with alpha");
    toPngCommand->add_option("FILE", toOptions->inputs, "The textures (\"-\" for standard input)")->required();
    toPngCommand->add_option("-o,--output", toOptions->output,
                             "The PNG to write, or the folder to write it in (\"-\" for standard output; default: FILE with the extension .png)");
    CLI::Option* mip = toPngCommand->add_option("--mip", toOptions->mip, "The mipmap to write, 0 for the first (default: the largest)")
                           ->check(CLI::NonNegativeNumber);
    toPngCommand->add_flag("--all", toOptions->all, "Write every mipmap, as OUT_mip0.png, OUT_mip1.png, ...")->excludes(mip);
    Batch::addJobsOption(*toPngCommand, toOptions->jobs);
    tool.setAction(*toPngCommand, [toOptions, &tool] { return toPng(tool, *toOptions); });

    auto fromOptions = std::make_shared<FromPngOptions>();
    CLI::App* fromPngCommand =
        group->add_subcommand("from-png", "Make a texture with all its mipmaps from a PNG image whose sides are powers of two");
    fromPngCommand->add_option("IN", fromOptions->inputs, "The PNG images (\"-\" for standard input)")->required();
    fromPngCommand->add_option("-o,--output", fromOptions->output,
                               "The texture to write, or the folder to write it in; replaced only once complete (default: IN with the extension .paa)");
    fromPngCommand
        ->add_option("--format", fromOptions->format,
                     "auto (DXT1 when every pixel is opaque, else DXT5), dxt1, dxt5, argb4444, argb1555 or grey")
        ->check(CLI::IsMember({"auto", "dxt1", "dxt5", "argb4444", "argb1555", "grey"}));
    fromPngCommand
        ->add_option("--quality", fromOptions->quality,
                     "How hard DXT blocks are fitted: fast, normal (the default) or best")
        ->check(CLI::IsMember({"fast", "normal", "best"}));
    Batch::addJobsOption(*fromPngCommand, fromOptions->jobs);
    tool.setAction(*fromPngCommand, [fromOptions, &tool] { return fromPng(tool, *fromOptions); });
}

}  // namespace vex
