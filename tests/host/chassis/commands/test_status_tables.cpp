#include "host/chassis/commands/status_tables.h"

#include "tests/host/chassis/run/bench.h"

namespace chassis {
namespace {

class StatusTables : public Bench {};

TEST_F(StatusTables, ShowEveryPortAndMarkWhatDiffers) {
  start();
  const nlohmann::json status = control({{"verb", "status"}});
  const std::string tables = status_tables(status, false);
  EXPECT_NE(tables.find("ethernet 1/20"), std::string::npos);
  EXPECT_NE(tables.find("DIFFERS: not mirrored"), std::string::npos);
  EXPECT_EQ(tables.find('\033'), std::string::npos);
  EXPECT_NE(status_tables(status, true).find("\033[1;31m"), std::string::npos);
}

}  // namespace
}  // namespace chassis
