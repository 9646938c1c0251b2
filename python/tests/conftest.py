"""Options that ctest passes to the module's tests: the example investigations and the tool."""

import os

import pytest


def pytest_addoption(parser):
    parser.addoption("--examples-dir", default="", help="folder of the example investigations")
    parser.addoption("--examples", default="", help="the example files, separated by commas")
    parser.addoption("--zubra-tool", default="", help="the built zubra command-line tool")


def pytest_generate_tests(metafunc):
    if "example" in metafunc.fixturenames:
        config = metafunc.config
        folder = config.getoption("--examples-dir")
        names = [n for n in config.getoption("--examples").split(",") if n]
        metafunc.parametrize("example", [os.path.join(folder, n) for n in names], ids=names)


@pytest.fixture
def zubra_tool(request):
    tool = request.config.getoption("--zubra-tool")
    if not tool:
        pytest.skip("the zubra tool is not built (ZUBRA_BUILD_APPS=OFF)")
    return tool
