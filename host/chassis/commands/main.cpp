// The `chassis` program: see commands.h for its subcommands.
#include "host/chassis/commands/command_line.h"

int main(int count, char **words) { return chassis::run_command_line(count, words); }
