// qorvintr: runs field scripts over a set of data fields from the shell.
#include <cstdio>
#include <cstring>

#include "qorvintr/version.h"

namespace {

const char kUsage[] =
    "Usage: qorvintr [--version | --help]\n"
    "\n"
    "QorvIntr is an embeddable interpreter for short field scripts over named, typed data\n"
    "fields, used by a document system that sends HL7 messages.\n"
    "\n"
    "Options:\n"
    "  --version   print the component's version (major.minor.revision) and exit\n"
    "  --help      print this text and exit\n";

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
    std::printf("qorvintr %d.%d.%d\n", QORVINTR_VERSION_MAJOR, QORVINTR_VERSION_MINOR,
                QORVINTR_VERSION_REVISION);
    return 0;
  }
  if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
    std::fputs(kUsage, stdout);
    return 0;
  }
  std::fputs(kUsage, stderr);
  return 2;
}
