// A real Prometheus server scrapes the collector, and is asked what it found.
#include <filesystem>
#include <fstream>

#include "tests/helpers/TestDomain.hpp"
#include "tests/system/collector/Collector.hpp"
#include "tests/system/tail/Tail.hpp"

namespace {

using nlohmann::json;

std::uint16_t freePort() {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    EXPECT_EQ(bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length), 0);
    close(socket);
    return ntohs(address.sin_port);
}

// Scrapes the target each second, and forgets everything at its end.
class Prometheus {
public:
    explicit Prometheus(const std::string& target)
        : folder_(std::filesystem::temp_directory_path() / ("orx-prometheus-" + std::to_string(getpid()))),
          port_(freePort()), process_(command(target)) {}
    ~Prometheus() {
        process_.signal(SIGKILL);
        (void)process_.waitFromNow();
        std::filesystem::remove_all(folder_);
    }
    // The vector that the expression gives now; empty while it does not answer.
    json query(const std::string& expression) {
        HttpClient client(port_);
        client.get("/api/v1/query?query=" + expression);
        const json answer = json::parse(client.isOpen() ? client.answer().body : "{}", nullptr, false);
        return answer.is_object() && answer.contains("data") ? answer["data"]["result"] : json::array();
    }
    std::string errors() const { return process_.errors(); }

private:
    Command command(const std::string& target) {
        std::filesystem::create_directories(folder_);
        std::ofstream(folder_ / "prometheus.yml") << "global: {scrape_interval: 1s, scrape_timeout: 1s}\n"
                                                     "scrape_configs:\n"
                                                     "- job_name: orx\n"
                                                     "  static_configs: [{targets: ['"
                                                  << target << "']}]\n";
        return {ORX_PROMETHEUS, "--config.file=" + (folder_ / "prometheus.yml").string(),
            "--storage.tsdb.path=" + (folder_ / "data").string(),
            "--web.listen-address=127.0.0.1:" + std::to_string(port_), "--log.level=error"};
    }
    const std::filesystem::path folder_;
    const std::uint16_t port_;
    Process process_;
};

TEST(CollectorPrometheus, ScrapesAndIsAsked) {
    const std::string monitoring = testDomainText(1);
    Collector collector(monitoring);
    Application application(monitoring, testDomainText(2), "first");
    application.command("participant alpha");
    collector.awaitUntil([&] {
        return !collector.series({"dds_data_writer_", "participant=\"alpha\""}).empty();
    });

    Prometheus prometheus(collector.address());
    collector.awaitUntil([&] {
        const json up = prometheus.query("up");
        return up.size() == 1 && up[0]["value"][1] == "1";
    });
    collector.awaitUntil([&] {
        const json found = prometheus.query(
            "dds_data_writer_publication_matched_current_count%7Bapplication%3D%22first%22%7D");
        return found.size() == 1 && found[0]["value"][1] == "1" &&
               found[0]["metric"]["participant"] == "alpha" && found[0]["metric"]["topic"] == "Square";
    });
    EXPECT_EQ(prometheus.query("orx_collector_applications")[0]["value"][1], "1") << prometheus.errors();
    application.signal(SIGKILL);
    collector.awaitUntil([&] {
        return prometheus.query("dds_data_writer_publication_matched_current_count").empty() &&
               prometheus.query("up").size() == 1;
    });
}

} // namespace
