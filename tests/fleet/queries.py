#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks the queries of a dashboard and of alerts.

Usage: queries.py METRICS URL FILE...

METRICS is a text with the metrics of a server, and URL is the address of a Prometheus. A FILE is a dashboard in JSON, or
rules in YAML. Each query must be valid for Prometheus, and must use only metrics in METRICS.
"""
import json
import re
import sys
import urllib.parse
import urllib.request


def queries_of(path):
    """Returns the queries of a file."""
    with open(path, encoding="utf-8") as file:
        text = file.read()
    if not path.endswith(".json"):
        return re.findall(r"^ *expr: (.*)$", text, re.MULTILINE)
    panels = json.loads(text)["panels"]
    return [target["expr"] for panel in panels for target in panel["targets"]]


def families_of(text):
    """Returns the names of the samples in a text of metrics. A histogram has several names."""
    names = set()
    for name, kind in re.findall(r"^# TYPE (\S+) (\S+)$", text, re.MULTILINE):
        names |= {name + part for part in ("_bucket", "_sum", "_count")} if kind == "histogram" else {name}
    return names


def is_valid(url, query):
    """Returns whether Prometheus can evaluate a query, with values in place of the variables of the dashboard."""
    query = query.replace("$__rate_interval", "1m").replace("$node", ".*")
    address = f"{url}/api/v1/query?" + urllib.parse.urlencode({"query": query})
    with urllib.request.urlopen(address, timeout=30) as answer:
        return json.load(answer)["status"] == "success"


def main():
    metrics, url, *files = sys.argv[1:]
    with open(metrics, encoding="utf-8") as file:
        families = families_of(file.read())
    queries = [(path, query) for path in files for query in queries_of(path)]
    problems = 0
    for path, query in queries:
        unknown = set(re.findall(r"\brynveld_\w+", query)) - families
        if unknown or not is_valid(url, query):
            print(f"{path}: {query}: {', '.join(sorted(unknown)) or 'not a valid query'}")
            problems += 1
    print(f"{len(queries)} queries, {problems} wrong")
    sys.exit(problems > 0 or len(queries) < len(files))


main()
