#include "host/cli/Command.h"

int main(int argc, char** argv) { return qvhost::RunCommand(argc, argv); }
