"""Every function and class documents its shapes with an example, and the examples run."""
import doctest
import inspect

import pytest

import crv


def documented():
    yield "crv", crv
    for name in sorted(vars(crv)):
        obj = getattr(crv, name)
        if name.startswith("_") or inspect.ismodule(obj):
            continue
        yield name, obj
        if inspect.isclass(obj) and obj is not crv.CrvError:
            for member, value in vars(obj).items():
                if not member.startswith("_") and callable(value):
                    yield f"{name}.{member}", value


@pytest.mark.parametrize("name,obj", list(documented()), ids=lambda v: v if isinstance(v, str) else "")
def test_docstring_examples(name, obj):
    doc = obj.__doc__ or ""
    assert ">>>" in doc, f"{name} has no example"
    test = doctest.DocTestParser().get_doctest(doc, {}, name, None, 0)
    runner = doctest.DocTestRunner(optionflags=doctest.NORMALIZE_WHITESPACE)
    runner.run(test)
    assert runner.failures == 0
