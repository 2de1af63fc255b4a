// vex: the command-line face of the archivefile library.
#include <cstdio>
#include <exception>
#include <string>

#include <CLI/CLI.hpp>

#include "archivefile/foundation/VexDLL.h"
#include "tools/vex/Console.h"
#include "tools/vex/Tool.h"
#include "tools/vex/UsageMessage.h"

int main(int argc, char** argv) {
    using archivefile::VexDLL;

    CLI::App app{"vex: reads, checks, converts and writes archives, configs, models, textures, sounds and fonts"};
    app.set_version_flag("-V,--version", "vex " + VexDLL::versionText() + " (archivefile library " +
                                             VexDLL::versionText() + ", build " + VexDLL::buildText() + ")");
    app.require_subcommand(0, 1);
    // Options that a command does not know are offered to the levels above it, so that the global
    // ones below may stand after the command too.
    app.fallthrough();
    app.footer("Run 'vex COMMAND --help' for the options of one command. -q, -v and --json may also follow the command.");

    vex::Tool tool;
    app.add_flag("-q,--quiet", tool.quiet, "Print no progress, notices or \"wrote\" lines; errors only");
    app.add_flag("-v,--verbose", tool.verbose, "Print every line the library reports");
    app.add_flag("--json", tool.json, "JSON on standard output (vex list and vex info)");
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
        vex::Console::standardError().line(vex::UsageMessage::message(app, error));
        return vex::UsageError;
    }
    if (!tool.hasAction()) {
        std::fputs(app.help().c_str(), stderr);
        return vex::UsageError;
    }
    try {
        return tool.run();
    } catch (const std::exception& unexpected) {
        // The library turns its failures into codes; what still arrives here is a fault of vex.
        return tool.fail(std::string("internal error: ") + unexpected.what());
    } catch (...) {
        return tool.fail("internal error: an unknown exception");
    }
}
