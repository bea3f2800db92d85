#include "collector/api/Page.hpp"

#include <algorithm>
#include <cmath>

namespace collector::api {

namespace {

constexpr std::size_t mostRows = 1'000;

constexpr std::string_view head = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta http-equiv="refresh" content="10">
<title>orx-collector</title>
<style>
body { font-family: sans-serif; margin: 2em; color: #222; }
table { border-collapse: collapse; }
th, td { text-align: left; padding: 0.25em 1em 0.25em 0; border-bottom: 1px solid #ddd; }
td.number { text-align: right; }
code { background: #f4f4f4; padding: 0.1em 0.3em; }
</style>
</head>
<body>
<h1>orx-collector</h1>
)";

constexpr std::string_view links = R"(<ul>
<li><a href="/metrics">/metrics</a>: every metric, for Prometheus</li>
<li><a href="/api/v1/status">/api/v1/status</a></li>
<li><a href="/api/v1/applications">/api/v1/applications</a></li>
<li><a href="/api/v1/resources?metrics=1&amp;limit=100">/api/v1/resources</a>: the tree, by path expression</li>
<li><a href="/api/v1/logs">/api/v1/logs</a>: recent log messages; <code>?follow=1</code> goes on</li>
<li><a href="/api/v1/events">/api/v1/events</a>: what happens, as it happens</li>
</ul>
<h2>Applications</h2>
)";

std::string row(const ApplicationView& application) {
    const auto cell = [](const std::string& text) { return "<td>" + escapedHtml(text) + "</td>"; };
    const auto number = [](std::uint64_t value) {
        return "<td class=\"number\">" + std::to_string(value) + "</td>";
    };
    const std::string guid = reading::guidDigits(application.guid);
    const auto seconds =
        static_cast<std::uint64_t>(std::max(0.0, std::round(application.lastSampleSecondsAgo)));
    return "<tr><td><a href=\"/api/v1/resources?path=/applications/GUID(" + guid + ")//*\">" +
           escapedHtml(application.name) + "</a></td>" + cell(application.host.value_or("")) +
           cell(application.processId ? std::to_string(*application.processId) : "") +
           number(application.resources) + number(application.series) + number(seconds) + cell(guid) +
           "</tr>\n";
}

} // namespace

std::string escapedHtml(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\'':
            escaped += "&#39;";
            break;
        default:
            escaped += static_cast<unsigned char>(c) < 0x20 || c == 0x7F ? ' ' : c;
        }
    }
    return escaped;
}

std::string pageOf(const std::string& version, int domain, bool isReadOnly, const ModelStatistics& statistics,
    const std::vector<ApplicationView>& applications) {
    std::string page(head);
    page += "<p>Version " + escapedHtml(version) + ", monitoring domain " + std::to_string(domain) + ": " +
            std::to_string(statistics.applications) + " applications, " +
            std::to_string(statistics.resources) + " resources, " + std::to_string(statistics.series) +
            " series." + (isReadOnly ? " Commands are not taken.</p>\n" : "</p>\n");
    page += links;
    page += "<table>\n<tr><th>Name</th><th>Host</th><th>Process</th><th>Resources</th><th>Series</th>"
            "<th>Last sample, s ago</th><th>GUID</th></tr>\n";
    for (std::size_t i = 0; i < std::min(applications.size(), mostRows); ++i)
        page += row(applications[i]);
    page += "</table>\n";
    if (applications.empty())
        page += "<p>None yet: start a program with <code>orx-run</code>.</p>\n";
    return page + "</body>\n</html>\n";
}

} // namespace collector::api
