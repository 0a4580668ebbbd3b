#include "tests/unit/daemon_test.h"

#include <cstring>
#include <set>

#include "tesk/tesk_dbg.h"
#include "tesk/tesk_fib.h"
#include "tesk/tesk_krnl_adapter.h"
#include "tesk/tesk_kvs.h"
#include "tesk/tesk_l2switch.h"
#include "tesk/tesk_main.h"
#include "tesk/tesk_port.h"
#include "tesk/tesk_qbus.h"
#include "tesk/tesk_vlan.h"

namespace {

/** Frees the entries of a hash table. */
template <class Entry, size_t size, class Release>
void empty(Entry *(&buckets)[size], Release release) {
  for (Entry *&head : buckets) {
    while (head != nullptr) {
      Entry *next = head->next;
      release(head);
      std::free(head);
      head = next;
    }
  }
}

void empty_tables() {
  empty(ifidx_bucket, [](ifindex_hash_entry_t *entry) { std::free(entry->param); });
  empty(vlan_bucket, [](vlan_hash_entry_t *) {});
  empty(fib_bucket, [](tesk_fib_entry_t *) {});
  tesk_init_fib();
}

template <class Global>
void clear(Global &global) {
  std::memset(static_cast<void *>(&global), 0, sizeof global);
}

void reset_daemon() {
  vorlund_platform = tesk_l2switch_disable = tesk_overseer_hbt_sent = tesk_l2_init_done = false;
  tesk_descriptor_refused = false;
  tesk_dbg_pkt = tesk_dbg_ctrl = false;
  tesk_qbus_q = 0;
  sock_mgmt = sock_inband = 0;
  teskkfd = -1;
  tesk_debug_kvs = tesk_kvs_cfg = tesk_kvs_startup_cfg = 0;
  dirty_port_count = dirty_vlan_count = 0;
  cin_vlan_count = 0;
  clear(tesk_trace_buf);
  clear(tesk_kvs_config_url);
  clear(tesk_kvs_debug_url);
  clear(buf);
  clear(lnx_eth_if);
  clear(kes_port_map);
  clear(amm_mgmt_port);
}

}  // namespace

DaemonTest::DaemonTest() {
  reset_daemon();
  begin();
}

DaemonTest::~DaemonTest() {
  empty_tables();
  end();
}

Ending DaemonTest::start() {
  return run([] { return tesk_main(0, nullptr); });
}

void DaemonTest::bring_up_tables() {
  tesk_qbus_q = queue_descriptor;
  teskkfd = module_descriptor;
  tesk_kvs_cfg = open_store(running_store);
  ASSERT_TRUE(tesk_init_ports());
  ASSERT_TRUE(tesk_init_vlan());
  ASSERT_TRUE(tesk_init_fib());
  tesk_krnl_do_sync();
  forget();
}

void DaemonTest::receive(Message message) {
  queue(std::move(message));
  tesk_qbus_msg_process();
}
