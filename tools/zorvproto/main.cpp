// zorvproto: the protocol library's frames made visible. encode prints the
// frames of a request, decode reads frames back from hex, raw bytes or a log,
// demo runs the server's side of transfers against a simulated device; read,
// write, read-file, write-file and watch do the server's side against a device
// on the wire, and simulate puts the simulated device on the wire.
#include "Commands.h"
#include "HexInput.h"

#include <iostream>

int main(int argc, char** argv)
{
    CLI::App app{std::string("zorvproto: encode, decode and demonstrate third-generation frames, talk to a device\n"
                             "over TCP or a serial line, and serve a simulated device.\n") +
                     zorvproto::kExitStatusText,
                 "zorvproto"};
    app.require_subcommand(1);
    app.footer("Example:\n  zorvproto demo\n"
               "  zorvproto encode --op read --addr 0x2000 --len 256 | zorvproto decode\n"
               "  zorvproto simulate &  zorvproto read --connect 127.0.0.1:5020 --addr 0x2000 --len 64 -v\n"
               "Run 'zorvproto COMMAND --help' for a command's options.");
    int status = zorvproto::kExitOk;
    zorvproto::addEncodeCommand(app, status);
    zorvproto::addDecodeCommand(app, status);
    zorvproto::addDemoCommand(app, status);
    zorvproto::addClientCommands(app, status);
    zorvproto::addWatchCommand(app, status);
    zorvproto::addSimulateCommand(app, status);

    const auto command = [&app] {
        const auto used = app.get_subcommands();
        return "zorvproto" + (used.empty() ? std::string() : " " + used.front()->get_name());
    };
    try
    {
        app.parse(argc, argv);
    }
    catch (const CLI::ParseError& e)
    {
        // Help is no error; everything else CLI11 rejects is a usage error.
        const int printed = app.exit(e);
        return printed == 0 ? zorvproto::kExitOk : zorvproto::kExitBadInput;
    }
    catch (const zorvproto::BadInput& e)
    {
        std::cerr << command() << ": bad input: " << e.what() << '\n';
        return zorvproto::kExitBadInput;
    }
    catch (const zorvproto::CommandFailure& e)
    {
        std::cerr << command() << ": " << e.what() << '\n';
        return e.status();
    }
    catch (const zorvproto::UsageError& e)
    {
        std::cerr << command() << ": " << e.what() << '\n';
        return zorvproto::kExitBadInput;
    }
    return status;
}
