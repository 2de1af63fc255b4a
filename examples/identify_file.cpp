// Tells what a file is from its first bytes and describes it with the handler of its kind.
//     identify_file FILE...
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "archivefile/archive/ArchiveFile.h"
#include "archivefile/config/RapFile.h"
#include "archivefile/foundation/GenString.h"
#include "archivefile/foundation/VexDLLExt.h"
#include "archivefile/media/FxyFile.h"
#include "archivefile/media/VexSound.h"
#include "archivefile/model/P3dFile.h"
#include "archivefile/texture/PacFile.h"
#include "archivefile/texture/TexFile.h"

static bool quiet(const char*, ...) { return true; }

static bool startsWith(const char* head, const char* signature) {
    return std::memcmp(head, signature, std::strlen(signature)) == 0;
}

// 0 when the file was described, else the handler's code.
static int identify(archivefile::VexDLLExt& root, const char* path) {
    char head[4] = {};
    if (std::FILE* file = std::fopen(path, "rb")) {
        std::fread(head, 1, sizeof head, file);
        std::fclose(file);
    }
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    int code = 0;
    if (startsWith(head, "MLOD") || startsWith(head, "ODOL") || startsWith(head, "SP3X") || startsWith(head, "SP3D")) {
        archivefile::P3dFile& model = *root.p3dFile();
        if ((code = model.Open(path, quiet)) == 0) {
            archivefile::GenString type;
            std::printf("%s: model, %s", path, model.GetTypeStr(&type));
        }
    } else if (std::memcmp(head, "\0raP", 4) == 0) {
        archivefile::RapFile& config = *root.rapFile();
        if ((code = config.OpenRap(path)) == 0)
            std::printf("%s: binarised config, %zu bytes of text\n", path, config.decodedText().size());
    } else if (startsWith(head, "0DHT")) {
        archivefile::TexFile& index = *root.texFile();
        index.SetCallBack(quiet);
        if ((code = index.OpenTex(path, nullptr, 0)) == 0)
            std::printf("%s: texture index of %zu textures\n", path, index.GetTexBody()->size());
    } else if (startsWith(head, "VXFo") || (!error && size == 2688)) {
        archivefile::FxyFile& font = *root.fxyFile();
        if ((code = font.OpenFxy(path, nullptr, 0)) == 0)
            std::printf("%s: font of %u glyphs\n", path, font.entryCount());
    } else if (startsWith(head, "WSS0") || startsWith(head, "RIFF")) {
        archivefile::VexSound& sound = *root.vexSound();
        if ((code = sound.Open(path, quiet, archivefile::VexSound::HeaderOnly)) == 0)
            std::printf("%s: sound, %u channels at %d Hz\n", path, sound.description().channels,
                        sound.description().sampleRate);
    } else if (archivefile::ArchiveFile& archive = *root.archiveFile();
               archive.OpenPbo(path, quiet, archivefile::ArchiveFile::OpenAsNamed) == 0) {
        std::printf("%s: archive of %zu entries, prefix %s\n", path, archive.entryCount(),
                    archive.HasPrefix() ? archive.GetPrefix() : "(none)");
        archive.ClosePbo();
    } else if (archivefile::PacFile& texture = *root.pacFile(); texture.Open(path, quiet) == 0) {
        std::printf("%s: texture, %s, %zu mipmaps\n", path, archivefile::PacFile::GetTypeStr(texture.type()),
                    texture.mipMaps().size());
        texture.Close();
    } else {
        std::printf("%s: not a file this library reads\n", path);
    }
    if (code != 0) std::printf("%s: refused, code %d\n", path, code);
    return code;
}

int main(int argc, char** argv) {
    archivefile::VexDLLExt root;
    int status = 0;
    for (int i = 1; i < argc; ++i)
        if (identify(root, argv[i]) != 0) status = 1;
    return status;
}
