#include "html_report.h"

#include <algorithm>

#include "id_picture.h"
#include "report.h"

namespace kivplug {

namespace {

constexpr char const* k_head = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>kivplug check</title>
<style>
:root { color-scheme: light dark; --text: #1c2024; --page: #ffffff; --quiet: #5d6673;
        --rule: #d6dae0; --good: #1f6f3d; --bad: #b3261e; --warn: #8a5a00; }
@media (prefers-color-scheme: dark) {
  :root { --text: #e4e7eb; --page: #14171a; --quiet: #9aa4b1; --rule: #343b44; --good: #6cc08b;
          --bad: #ff8a80; --warn: #e5b567; }
}
body { margin: 0 auto; padding: 1rem; max-width: 60rem; color: var(--text);
       background: var(--page); font: 1rem/1.5 system-ui, sans-serif; overflow-wrap: anywhere; }
h1 { font-size: 1.4rem; } h2 { font-size: 1.1rem; margin-bottom: .2rem; }
section { border-top: 1px solid var(--rule); padding-bottom: .6rem; }
.steps { display: flex; flex-wrap: wrap; gap: .3rem 1.5rem; padding: 0; list-style: none; }
.ids, .place { color: var(--quiet); font-family: ui-monospace, monospace; font-size: .9rem; }
.good { color: var(--good); } .error { color: var(--bad); } .warning { color: var(--warn); }
.advice, .skipped { color: var(--quiet); }
details { margin: .4rem 0; } summary { cursor: pointer; } details p { margin: .2rem 0 .2rem 1rem; }
.picture { overflow-x: auto; } svg { width: 100%; min-width: 44rem; height: auto; } svg text { font-size: 13px; fill: var(--text); }
svg .directory { text-anchor: end; } svg path { fill: none; stroke: var(--quiet); }
svg .conflict { stroke: var(--bad); } svg text.conflict { stroke: none; fill: var(--bad); }
</style>
</head>
<body>
<h1>kivplug check</h1>
)";

std::string span(std::string const& kind, std::string const& text) {
    return "<span class=\"" + kind + "\">" + html_text(text) + "</span>";
}

std::string kind_of(step_report const& report) {
    if (report.is_skipped) {
        return "skipped";
    }
    if (report.found.empty()) {
        return "good";
    }
    auto const worst = std::min_element(
        report.found.begin(), report.found.end(), [](finding const& one, finding const& other) {
            return rule_of(one.rule).weight < rule_of(other.rule).weight;
        });
    return level_name(rule_of(worst->rule).weight);
}

std::string finding_html(finding const& each) {
    auto const& broken = rule_of(each.rule);
    return "<details><summary>" + span(level_name(broken.weight), broken.code()) + " " +
           html_text(each.problem) + "</summary>\n<p class=\"place\">" +
           html_text(place_text(each.where)) + "</p>\n<p>" + html_text(each.repair) +
           "</p></details>\n";
}

std::string directory_html(checked_directory const& checked) {
    std::string ids;
    for (auto const& id : all_ids(checked)) {
        ids += html_text(id) + "<br>";
    }
    std::string steps;
    std::string found;
    for (auto const& report : checked.steps) {
        steps += "<li>" + std::string(step_name(report.of)) + ": " +
                 span(kind_of(report), verdict(report)) + "</li>\n";
        for (auto const& each : report.found) {
            found += finding_html(each);
        }
    }
    return "<section>\n<h2>" + html_text(checked.path) + "</h2>\n<div class=\"ids\">" + ids +
           "</div>\n<ul class=\"steps\">\n" + steps + "</ul>\n" + found + "</section>\n";
}

}  // namespace

std::string html_report(std::vector<checked_directory> const& all) {
    std::string page = k_head + id_picture(all);
    for (auto const& each : all) {
        page += directory_html(each);
    }
    return page + "</body>\n</html>\n";
}

}  // namespace kivplug
