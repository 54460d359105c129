// What vnttop makes of a status, without a server.
#include "test/has.h"
#include "tools/metrics.h"
#include "tools/toptable.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>

namespace vnt {

static const char document[] =
    "version 9.9\npid 7\naddress 127.0.0.1:4000\nnovelty 3\nuptime 12.5\ndraining 1\n"
    "option -logfile=a b\naccepted 5\nserved 2\nrefused denied 2\nended exit 1\nin 10\nout 20\n"
    "worker 41 pid 41 state parked for 3.5 age 9.0 novel 1 in 4 out 5 idle 1.5 client a \"b\\ c\n"
    "worker 0 pid 0 state handshake for 0.1 age 0.1 in 0 out 0 idle 0.1 client 127.0.0.1:9\nend\n";

TEST(Top, AStatusIsReadAndWhatIsNotKnownIsSkipped)
{
    const server_status s = status_parse(document);
    EXPECT_EQ(s.address + " " + s.options.at(0), "127.0.0.1:4000 -logfile=a b");
    EXPECT_TRUE(s.draining);
    EXPECT_EQ(s.uptime, 12.5);
    ASSERT_EQ(s.workers.size(), 2u);
    const worker_status &w = s.workers[0];
    EXPECT_EQ(w.state + w.client, "parkeda \"b\\ c");
    EXPECT_EQ(std::to_string(w.id) + " " + std::to_string(w.in + w.out), "41 9");
    EXPECT_EQ(w.instate + w.idle, 5);
    const std::string text(document);
    EXPECT_THROW(status_parse(text.substr(0, text.size() - 4)), failure) << "it is cut off";
    EXPECT_TRUE(nlohmann::json::parse(top_json(s))["workers"][1]["id"].is_null());
}

TEST(Top, LoadsAreThoseBetweenTwoLooks)
{
    auto look = [](double age, double cpu) {
        server_status s;
        for (int id : {1, 2, 3})
            s.workers.emplace_back().id = id;
        s.workers[0].age = age, s.workers[0].cpu = cpu;
        s.workers[1].age = 1, s.workers[1].cpu = 0.5; // another process of that id
        return s;
    };
    const server_status before = look(8, 6), now = look(10, 7);
    const worker_loads loads = loads_between(&before, now, 2);
    EXPECT_EQ(loads.at(1), 0.5);
    EXPECT_EQ(loads.at(2), 0.5) << "since its start";
    EXPECT_FALSE(loads.contains(3)) << "the system says nothing";
    EXPECT_EQ(loads_between(nullptr, now, 0).at(1), 0.7);
}

TEST(Top, TheTableFitsTheWindow)
{
    server_status s = status_parse(document);
    worker_loads loads;
    s.address = std::string(300, 'a');
    for (int i = 0; i < 50; i++) {
        worker_status w;
        w.id = 4000000 + i;
        w.client = std::string(static_cast<size_t>(i), 'c');
        w.state = "handshake";
        w.instate = w.idle = 1e7;
        w.in = w.out = UINT64_MAX;
        w.memory = 1000ull << 30;
        loads[w.id] = i;
        s.workers.push_back(w);
    }
    for (int width : {20, 79, 80, 200})
        for (int height : {5, 24, 60}) {
            const std::string table = top_table(s, loads, width, height);
            std::istringstream lines(table);
            int count = 0;
            for (std::string line; std::getline(lines, line); count++)
                EXPECT_LE(line.size(), static_cast<size_t>(width)) << line;
            EXPECT_LE(count, std::max(height, 7));
            EXPECT_EQ(table.find("more") != table.npos, height < 60);
        }
    const std::string table = top_table(s, loads, 80, 24);
    EXPECT_LT(table.find(" 4900 "), table.find(" 4800 ")) << "the busiest first";
    for (double value : {0.0, 9.95, 59.9, 999.4, 999.5, 3599.0, 359999.0, 1e6, 1e9, 1e12, 1e18}) {
        EXPECT_LE(span_text(std::min(value, 8e8)).size(), 5u) << value;
        EXPECT_LE(amount_text(value).size(), 5u) << value;
    }
    EXPECT_EQ(span_text(3723) + " " + amount_text(1536), "1h02 1.5K");
}

TEST(Metrics, ValuesOfLabelsMayHoldAnything)
{
    server_status s = status_parse(document);
    s.workers[0].memory = 4096;
    const std::string text = metrics_text(s);
    for (const char *line :
         {"vanto_up 1\n", "vanto_connections_refused_total{reason=\"denied\"} 2\n",
          "vanto_workers{state=\"orphan\"} 0\n", "vanto_workers{state=\"parked\"} 1\n",
          "vanto_worker_memory_bytes{worker=\"41\",client=\"a \\\"b\\\\ c\"} 4096\n"})
        EXPECT_TRUE(has(text, line));
    EXPECT_FALSE(has(text, "worker=\"0\""));
    EXPECT_FALSE(has(metrics_text(std::nullopt), "vanto_workers"));
}

} // namespace vnt
