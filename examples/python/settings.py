#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Shows the brightness of the display whenever it changes; sets what is typed, "step" adds one."""

from __future__ import annotations

import asyncio
import sys
from typing import AsyncIterator

from property_store import ConflictError, PropertyError, Store, Watch

BRIGHTNESS = "DisplayBrightness"
PATIENCE = 10  # seconds


async def show_changes(watch: Watch) -> None:
    async for change in watch:
        print(f"brightness {change.value}", flush=True)


def store_written(store: Store, text: str) -> None:
    """Waits until the server has stored it, or has said why not."""
    store.find(BRIGHTNESS).set_written(text)
    store.receipt().wait(PATIENCE)


def step(store: Store) -> None:
    """Of several programs that do this at once, none undoes what another has done."""
    while True:
        try:
            with store.transaction(PATIENCE) as transaction:
                store[BRIGHTNESS] = transaction.expect(BRIGHTNESS) + 1
            return
        except ConflictError:
            pass


async def typed_lines() -> AsyncIterator[str]:
    reader = asyncio.StreamReader()
    loop = asyncio.get_running_loop()
    await loop.connect_read_pipe(lambda: asyncio.StreamReaderProtocol(reader), sys.stdin)
    async for line in reader:
        yield line.decode().strip()


async def obey(store: Store) -> None:
    async for line in typed_lines():
        try:
            # On a thread, because it waits for the server.
            if line == "step":
                await asyncio.to_thread(step, store)
            else:
                await asyncio.to_thread(store_written, store, line)
            print("stored", flush=True)
        except PropertyError as error:
            print(error, flush=True)


async def main() -> None:
    with Store(timeout=PATIENCE) as store:
        with store.watch(BRIGHTNESS) as watch:
            print(f"brightness {store[BRIGHTNESS]}", flush=True)
            shown = asyncio.create_task(show_changes(watch))
            await obey(store)
        await shown


if __name__ == "__main__":
    try:
        asyncio.run(main())
    except PropertyError as failure:
        sys.exit(f"settings: {failure}")
