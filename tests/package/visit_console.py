# SPDX-License-Identifier: MIT
"""Visits a console as a browser does: its page, a sign-in, and whether it has its server.

usage: visit_console.py URL USER PASSWORD
Waits for a console that is being started. Prints "USER is ROLE, connected".
"""

from __future__ import annotations

import json
import re
import sys
import time
from http.client import HTTPResponse
from urllib.error import URLError
from urllib.request import ProxyHandler, Request, build_opener

PATIENCE = 60.0  # seconds


def visit(request: Request | str) -> HTTPResponse:
    """The answer of this machine to a request, with nothing in between."""
    return build_opener(ProxyHandler({})).open(request, timeout=PATIENCE)


def first_answer(url: str) -> HTTPResponse:
    """The page, as soon as somebody listens."""
    end = time.monotonic() + PATIENCE
    while True:
        try:
            return visit(url)
        except URLError as failure:
            if not isinstance(failure.reason, ConnectionRefusedError) or time.monotonic() > end:
                raise
            time.sleep(0.1)  # nothing tells when it does


def expect_page(url: str) -> None:
    """The page and its script are there."""
    with first_answer(url) as answer:
        page = answer.read().decode()
    script = re.search(r'<script [^>]*src="/([^"]+)"', page)
    if script is None:
        raise SystemExit(f"a page without a script: {page}")
    with visit(url + script.group(1)) as answer:
        if len(answer.read()) < 1000:
            raise SystemExit("the script of the page is too short to be one")


def main() -> None:
    """Says who is signed in, as what, and whether the console has its server."""
    url, user, password = sys.argv[1:]
    expect_page(url)
    body = json.dumps({"user": user, "password": password}).encode()
    headers = {"Content-Type": "application/json"}
    with visit(Request(url + "api/v1/session", body, headers)) as answer:
        session = json.load(answer)
        cookie = answer.headers["Set-Cookie"].partition(";")[0]
    with visit(Request(url + "api/v1/status", headers={"Cookie": cookie})) as answer:
        connected = json.load(answer)["connected"]
    state = "connected" if connected else "without its server"
    print(f"{session['user']} is {session['role']}, {state}")


main()
