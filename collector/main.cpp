#include "collector/commands/CommandLine.h"

int main(int argc, char* argv[]) {
  return pelto::collector::run_command_line(argc, argv);
}
