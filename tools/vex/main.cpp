// vex: the command-line face of the archivefile library.
#include <cstdio>
#include <string>

#include <CLI/CLI.hpp>

#include "archivefile/foundation/VexDLL.h"
#include "tools/vex/Tool.h"

int main(int argc, char** argv) {
    using archivefile::VexDLL;

    CLI::App app{"vex: reads, checks, converts and writes archives, configs, models, textures, sounds and fonts"};
    app.set_version_flag("-V,--version", "vex " + VexDLL::versionText() + " (archivefile library " +
                                             VexDLL::versionText() + ", build " + VexDLL::buildText() + ")");
    app.require_subcommand(0, 1);
    app.footer("Run 'vex COMMAND --help' for the options of one command.");

    vex::Tool tool;
    app.add_flag("-q,--quiet", tool.quiet, "Print no progress lines");
    app.add_flag("-v,--verbose", tool.verbose, "Print every line the library reports");
    vex::addConfigDecodeCommand(app, tool);
    vex::addArchiveCommands(app, tool);
    vex::addPackCommand(app, tool);
    vex::addConfigCommands(app, tool);
    vex::addSoundCommands(app, tool);
    vex::addInfoCommand(app, tool);
    vex::addTextureCommands(app, tool);

    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& help) {
        return app.exit(help);
    } catch (const CLI::CallForVersion& version) {
        return app.exit(version);
    } catch (const CLI::ParseError& error) {
        app.exit(error);
        return vex::UsageError;
    }
    if (app.get_subcommands().empty()) {
        std::fputs(app.help().c_str(), stderr);
        return vex::UsageError;
    }
    return tool.status;
}
