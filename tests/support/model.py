"""The module's face as its model in Python has it: names, source lines, parameters."""

import ast
import os

from tests.support.machine import PROJECT

SOURCE = "plugin/src/Kelvaro"  # the file that the module's traceback entries name
#: The module in plain Python, with each statement on its source line.
MODEL = os.path.join(PROJECT, "plugin", "model", "Kelvaro.py")

with open(MODEL) as _stream:
    TEXT = _stream.read()


def _parameters(function):
    """Return what stands between the parentheses of a definition."""
    names = [argument.id for argument in function.args.args]
    defaults = [ast.literal_eval(value) for value in function.args.defaults]
    plain = len(names) - len(defaults)
    return ", ".join(names[:plain] + ["%s=%r" % pair for pair in zip(names[plain:], defaults)])


def _functions(body):
    """Return triples (line, name, parameters); `__os_function__` is the model's own."""
    return [(node.lineno, node.name, _parameters(node)) for node in body
            if isinstance(node, ast.FunctionDef) and node.name != "__os_function__"]


def _import(node):
    """Return (line, module, names imported from it, as the statement has them).

    No names: the module itself is bound, by its first component. None: a star.
    """
    if isinstance(node, ast.Import):
        return node.lineno, node.names[0].name, ()
    names = tuple(alias.name + (" as " + alias.asname if alias.asname else "")
                  for alias in node.names)
    return node.lineno, node.module, None if names == ("*",) else names


_BODY = ast.parse(TEXT).body

#: (line, module, names); see _import.
IMPORTS = [_import(node) for node in _BODY if isinstance(node, (ast.Import, ast.ImportFrom))]

#: (line, name, parameters).
FUNCTIONS = _functions(_BODY)

#: (line, name, whether it derives from Screen, methods as in FUNCTIONS).
CLASSES = [(node.lineno, node.name, bool(node.bases), _functions(node.body))
           for node in _BODY if isinstance(node, ast.ClassDef)]

#: Full name by name and first line, which tell the model's functions apart.
NAMES = dict(((name, line), "Kelvaro." + name) for line, name, _ in FUNCTIONS)
NAMES.update(((name, line), "Kelvaro.%s.%s" % (class_name, name))
             for _, class_name, _, methods in CLASSES for line, name, _ in methods)

#: The lines whose errors are handled, and those that look an error's class up.
HANDLED = set(
    line for node in ast.walk(ast.parse(TEXT)) if isinstance(node, (ast.TryExcept, ast.With))
    for line in range(node.lineno, getattr(node, "handlers", node.body)[-1].lineno + 1))
