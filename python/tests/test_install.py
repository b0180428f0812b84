"""`cmake --install` puts the module where Python finds it, and the installed
module finds the library and the solver modules beside it."""
import glob
import os
import subprocess
import sys

import pytest

BUILD = os.environ.get("VEXA_BUILD_DIR")
CMAKE = os.environ.get("VEXA_CMAKE", "cmake")


@pytest.mark.skipif(not BUILD, reason="needs VEXA_BUILD_DIR (set by ctest)")
def test_installed_module_solves(tmp_path):
    prefix = tmp_path / "prefix"
    subprocess.run([CMAKE, "--install", BUILD, "--prefix", str(prefix)], check=True, capture_output=True)
    sites = glob.glob(str(prefix / "lib*" / "**" / "site-packages"), recursive=True)
    assert len(sites) == 1, sites
    code = (
        "import vexa; x = vexa.Var('x'); y = vexa.Var('y');"
        "m = vexa.Model((x + y - 1) ** 2 + 2 ** 100 * x * y);"
        "print(vexa.__file__); print(vexa.solve(m, 'exhaustive').energy, vexa.solve(m, time_limit=0.1).energy)"
    )
    env = dict(os.environ, PYTHONPATH=sites[0])
    out = subprocess.run([sys.executable, "-c", code], env=env, cwd=tmp_path, check=True,
                         capture_output=True, text=True).stdout.splitlines()
    assert out[0].startswith(sites[0])
    assert out[1] == "0 0"
