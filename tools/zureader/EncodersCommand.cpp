#include "CommandLine.h"
#include "Commands.h"
#include "ReaderPtr.h"

#include <zureader/ZUReader.h>

namespace zucli {
namespace {

const char kEncodersHelp[] =
    "usage: zureader encoders [--register [--machine]]\n"
    "\n"
    "Lists the encoder plug-ins transcode --encoder can use: name, module and the encoder's index in\n"
    "its module. --register first registers the plug-in modules installed beside the library (or in\n"
    "ZUREADER_PROVIDER_DIR) for this user; with --machine for every user of the machine.\n"
    "\n";

}  // namespace

int RunEncoders(const CArguments& arguments)
{
    const CCommandLine line(arguments, {}, {u"--register", u"--machine", u"-h", u"--help"});
    int nStatus = 0;
    if (!PrepareCommand(line, "encoders", "no", 0, kEncodersHelp, nStatus))
        return nStatus;
    if (line.Has(u"--register") && ZURegisterEncoders(line.Has(u"--machine") ? 1 : 0) == 0)
        return Fail(EExit::FAILED, "no encoder plug-in module was found to register, or the settings cannot be written");
    const ZUBSTR list = ZUListEncoders();
    const std::string text = list ? ToUtf8(TakeInfo(list)) : "";
    if (text.empty())
        return Fail(EExit::FAILED, "no encoders are registered (zureader encoders --register registers them)");
    PrintText(text);
    return 0;
}

}  // namespace zucli
