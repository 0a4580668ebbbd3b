// A chassis description, as a user writes it.
#include "host/chassis/model/description_file.h"

#include "fuzz/fuzz.h"
#include "host/chassis/model/board_ports.h"

std::vector<fuzz::Input> fuzz::seeds() {
  std::vector<Input> all;
  for (const auto &example : std::filesystem::directory_iterator(EXAMPLES_FOLDER))
    all.push_back(input_of_file(example.path()));
  return all;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const auto read = chassis::parse_description({reinterpret_cast<const char *>(data), size}, "file");
  if (!read) {
    fuzz::must(read.error().what.starts_with("file:"), "a mistake is told with its place");
    return 0;
  }
  const chassis::Description &description = *read;
  fuzz::must(chassis::is_name(description.name), "a chassis has a name");
  for (const chassis::PortDescription &port : description.ports)
    fuzz::must(chassis::asic_port(description.board, port.port).has_value(), "the board has the port");
  return 0;
}
