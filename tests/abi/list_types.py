# SPDX-License-Identifier: MIT
"""Lists the types of headers as a program that was built with them knows them.

usage: list_types.py FILE HEADER...
FILE is what abidw writes, with all types and their places. Of each class or enumeration that a HEADER
defines there is the size, what it derives from, where its members lie, which virtual functions stand
where; of an enumeration its values.
"""

from __future__ import annotations

import sys
from pathlib import PurePath
from xml.etree import ElementTree

Element = ElementTree.Element


class TypeList:
    """The types of a file, by what the file calls them."""

    def __init__(self, root: Element, headers: set[str]) -> None:
        self._headers = headers
        self._named = {node.get("id", ""): node for node in root.iter() if node.get("id")}
        self._lines: dict[str, list[str]] = {}
        for unit in root.iter("abi-instr"):
            self._add_inner(unit, "")

    def lines(self) -> list[str]:
        """All of them, sorted by their names."""
        return [line for name in sorted(self._lines) for line in self._lines[name]]

    def _add_inner(self, outer: Element, scope: str) -> None:
        for node in outer:
            name = scope + node.get("name", "")
            if node.tag == "namespace-decl":
                self._add_inner(node, f"{name}::")
            elif node.tag == "member-type":
                self._add_inner(node, scope)
            elif node.tag in ("class-decl", "union-decl"):
                self._add_class(node, name)
                self._add_inner(node, f"{name}::")
            elif node.tag == "enum-decl":
                self._add_enumeration(node, name)

    def _is_of_headers(self, node: Element) -> bool:
        place = PurePath(node.get("filepath", ""))
        return any(place.match(header) for header in self._headers)

    def _add_class(self, node: Element, name: str) -> None:
        if not self._is_of_headers(node) or node.get("is-declaration-only") == "yes":
            return
        found = [f"{name}: {self._bytes(node.get('size-in-bits'))} bytes"]
        for base in node.findall("base-class"):
            found.append(f"  at {self._place(base)} base {self._type(base.get('type-id'))}")
        for member in node.findall("data-member"):
            if member.get("static") != "yes":
                variable = member.find("var-decl")
                assert variable is not None
                kind = self._type(variable.get("type-id"))
                found.append(f"  at {self._place(member)} {variable.get('name')}: {kind}")
        found += self._virtual_functions(node)
        self._lines.setdefault(name, found)

    def _virtual_functions(self, node: Element) -> list[str]:
        found = []
        for member in node.findall("member-function"):
            function = member.find("function-decl")
            assert function is not None
            offset = int(member.get("vtable-offset", "-1"))
            name = function.get("name", "")
            if offset >= 0 or name.startswith("~"):
                found.append((offset, f"  virtual {self._signature(function)}"))
        return [line for _, line in sorted(found)]

    def _add_enumeration(self, node: Element, name: str) -> None:
        if not self._is_of_headers(node):
            return
        values = [f"  {value.get('name')} = {value.get('value')}" for value in node.findall("enumerator")]
        if "__anonymous_enum__" in name:
            name = f"from {values[0].strip()}"
        self._lines.setdefault(name, [f"{name}: enumeration", *values])

    def _signature(self, function: Element) -> str:
        taken = [
            self._type(parameter.get("type-id"))
            for parameter in function.findall("parameter")
            if parameter.get("is-artificial") != "yes"
        ]
        returned = function.find("return")
        kind = self._type(returned.get("type-id")) if returned is not None else "void"
        return f"{function.get('name')}({', '.join(taken)}) -> {kind}"

    @staticmethod
    def _bytes(bits: str | None) -> str:
        return f"{int(bits or 0) / 8:g}"

    def _place(self, node: Element) -> str:
        return self._bytes(node.get("layout-offset-in-bits"))

    def _type(self, number: str | None) -> str:
        node = self._named.get(number or "")
        if node is None:
            return "void"
        inner = node.get("type-id")
        if node.tag == "pointer-type-def":
            return f"{self._type(inner)}*"
        if node.tag == "reference-type-def":
            return f"{self._type(inner)}{'&' if node.get('kind') == 'lvalue' else '&&'}"
        if node.tag == "qualified-type-def":
            return f"{self._type(inner)} const"
        if node.tag == "array-type-def":
            return f"{self._type(inner)}[{self._bytes(node.get('size-in-bits'))} bytes]"
        return node.get("name") or node.tag


def main() -> None:
    """Prints the list."""
    root = ElementTree.parse(sys.argv[1]).getroot()
    print("\n".join(TypeList(root, set(sys.argv[2:])).lines()))


main()
