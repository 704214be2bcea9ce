// zorvproto: the protocol library's frames made visible. encode prints the
// frames of a request, decode reads frames back from hex, raw bytes or a log,
// demo runs the server's side of transfers against a simulated device.
#include "Commands.h"
#include "HexInput.h"

#include <iostream>

int main(int argc, char** argv)
{
    CLI::App app{"zorvproto: encode, decode and demonstrate third-generation frames.\n"
                 "Exit status: 0 all well, 1 a check failed, 2 bad input or usage.",
                 "zorvproto"};
    app.require_subcommand(1);
    app.footer("Example:\n  zorvproto demo\n"
               "  zorvproto encode --op read --addr 0x2000 --len 256 | zorvproto decode\n"
               "Run 'zorvproto COMMAND --help' for a command's options.");
    int status = zorvproto::kExitOk;
    zorvproto::addEncodeCommand(app, status);
    zorvproto::addDecodeCommand(app, status);
    zorvproto::addDemoCommand(app, status);

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
    catch (const zorvproto::UsageError& e)
    {
        std::cerr << command() << ": " << e.what() << '\n';
        return zorvproto::kExitBadInput;
    }
    return status;
}
