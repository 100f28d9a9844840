#include "Commands.h"

#include <cstdio>

namespace zucli {

int Fail(const std::string& message)
{
    std::fprintf(stderr, "zureader: %s\n", message.c_str());
    return 1;
}

void PrintText(const std::string& text)
{
    std::fwrite(text.data(), 1, text.size(), stdout);
}

}  // namespace zucli
