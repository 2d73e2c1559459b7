# SPDX-License-Identifier: MIT
"""The type stubs name exactly what the module has, with the same parameters."""
import ast
import importlib.metadata
import inspect
import re
from pathlib import Path

import quillmark

STUBS = ast.parse(Path(quillmark.__file__).with_name("__init__.pyi").read_text())
# The tuple's fields are what a NamedTuple makes of its annotations, on both sides.
BASES = {name for base in (Exception, OSError, tuple, object) for name in dir(base)}


def is_public(name):
    return not name.startswith("_") or name in {"__init__", "__version__"}


def names_of(node):
    """The name that a statement of a stub defines; none for an import and a type alias."""
    if isinstance(node, (ast.ClassDef, ast.FunctionDef)):
        return {node.name}
    is_alias = isinstance(node, ast.AnnAssign) and getattr(node.annotation, "id", "") == "TypeAlias"
    return {node.target.id} if isinstance(node, ast.AnnAssign) and not is_alias else set()


def stub_names(body):
    return {name for node in body for name in names_of(node) if is_public(name)}


def stub_classes():
    return {node.name: node for node in STUBS.body if isinstance(node, ast.ClassDef) and is_public(node.name)}


def parameters_of_stub(function):
    arguments = function.args
    return [one.arg for one in arguments.posonlyargs + arguments.args + arguments.kwonlyargs]


def parameters_of(function):
    """Of a function of the extension its docstring begins with its signature."""
    signature = re.match(r"\w+\((.*)\) -> ", function.__doc__ or "")
    if signature is None:
        parameters = inspect.signature(function).parameters.values()
        return [one.name for one in parameters if one.kind is not inspect.Parameter.VAR_POSITIONAL]
    return re.findall(r"(\w+): ", signature.group(1))


def functions_of_stub():
    for node in STUBS.body:
        if isinstance(node, ast.FunctionDef):
            yield getattr(quillmark, node.name), node
        elif node in stub_classes().values():
            for member in node.body:
                if isinstance(member, ast.FunctionDef) and not is_property(member):
                    yield getattr(getattr(quillmark, node.name), member.name), member


def is_property(function):
    return any(getattr(decorator, "id", "") == "property" for decorator in function.decorator_list)


def test_the_package_has_what_the_stubs_name():
    assert stub_names(STUBS.body) == set(quillmark.__all__)


def test_each_class_has_what_the_stubs_name():
    for name, stub in stub_classes().items():
        has = {member for member in dir(getattr(quillmark, name)) if is_public(member)}
        has |= set(getattr(getattr(quillmark, name), "__dataclass_fields__", ()))
        named = stub_names(stub.body)
        annotated_by_init = {
            "number",
            "description",
            "history",
            "delivered",
            "expected",
            "differences",
        } & named
        if issubclass(getattr(quillmark, name), Exception):
            assert named - annotated_by_init <= has, name
        else:
            assert named | {"__init__"} == (has - BASES) | {"__init__"}, name


def test_each_function_has_the_parameters_of_its_stub():
    compared = 0
    for function, stub in functions_of_stub():
        assert parameters_of(function) == parameters_of_stub(stub), stub.name
        compared += 1
    assert compared > 45


def test_properties_are_properties():
    for name, stub in stub_classes().items():
        for member in stub.body:
            if isinstance(member, ast.FunctionDef):
                found = inspect.getattr_static(getattr(quillmark, name), member.name)
                assert isinstance(found, property) == is_property(member), f"{name}.{member.name}"


def test_everything_has_a_docstring():
    for name in set(quillmark.__all__) - {"__version__"}:
        public = getattr(quillmark, name)
        assert public.__doc__, name
        for member_name in stub_classes()[name].body if name in stub_classes() else []:
            for member in {name for name in names_of(member_name) & set(vars(public)) if not name.startswith("__")}:
                # Plain values are described by their class.
                if callable(vars(public)[member]) or isinstance(vars(public)[member], property):
                    assert vars(public)[member].__doc__, f"{name}.{member}"


def test_the_installed_metadata_has_the_version_of_the_module():
    assert importlib.metadata.version("quillmark") == quillmark.__version__
