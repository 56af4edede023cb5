"""Other programs read the meshes that the library writes: admesh, meshio, CGAL, f3d and prusa-slicer.

Usage: check.py MODELS_PROGRAM [CGAL_PROGRAM]

Ends with 77, naming what is missing, where one of them is not installed, as outside of the full check."""

import re
import shutil
import struct
import subprocess
import sys
import tempfile
import zipfile
from pathlib import Path

# Meshes that are looked at with more cells, too: those with long edges.
FINER = ("turned_box", "hexagon", "cone", "nut")


def run(*command, folder=None):
    result = subprocess.run(command, cwd=folder, capture_output=True, text=True, timeout=250)
    assert result.returncode == 0, f"{command}: {result.returncode}\n{result.stdout}{result.stderr}"
    return result.stdout + result.stderr


def missing(cgal):
    programs = [name for name in ("admesh", "f3d", "prusa-slicer", "xvfb-run") if shutil.which(name) is None]
    # meshio is Debian's, which another Python does not see.
    if subprocess.run(["/usr/bin/python3", "-c", "import meshio"], capture_output=True).returncode != 0:
        programs.append("python3-meshio")
    return programs + ([] if cgal else ["libcgal-dev"])


def check_admesh(file, volume):
    """Closed, oriented, nothing to mend."""
    report = run("admesh", file)
    for what in ("Total disconnected facets", "Degenerate facets", "Edges fixed", "Facets removed", "Facets added",
                 "Facets reversed", "Backwards edges", "Normals fixed"):
        assert re.search(rf"{what}\s*:\s*0\b", report), f"{file}: {what}\n{report}"
    # It adds up in single precision.
    assert abs(float(re.search(r"Volume\s*:\s*(\S+)", report)[1]) / volume - 1) < 1e-3, report


def check_meshio(folder, name, volume):
    """The same triangles in each format that it reads."""
    script = (
        "import meshio, numpy, sys\n"
        "for file in sys.argv[1:]:\n"
        "    mesh = meshio.read(file)\n"
        "    p = mesh.points.astype(float)[mesh.cells_dict['triangle']]\n"
        "    print(len(p), numpy.einsum('ij,ij->', p[:, 0], numpy.cross(p[:, 1], p[:, 2])) / 6)\n")
    files = [str(folder / (name + end)) for end in (".stl", ".ply")]
    lines = run("/usr/bin/python3", "-c", script, *files).strip().splitlines()[-2:]
    assert len({line.split()[0] for line in lines}) == 1, lines
    for line in lines:
        assert abs(float(line.split()[1]) / volume - 1) < 1e-4, (name, line)


def check_slicer(folder, name, volume):
    """Reads the unit, which is centimetres, finds nothing to mend, and slices."""
    file = folder / (name + ".3mf")
    with zipfile.ZipFile(file) as package:
        assert 'unit="centimeter"' in package.read("3D/3dmodel.model").decode()[:1000]
    report = run("prusa-slicer", "--info", str(file))
    assert "manifold = yes" in report and "repair" not in report.lower(), report
    assert "open_edges" not in report and "facets_reversed" not in report, report
    millimetres = float(re.search(r"volume = (\S+)", report)[1])
    assert abs(millimetres / (1000 * volume) - 1) < 1e-4, f"{name}: {millimetres} mm3 for {volume} cm3"
    # OBJ has no unit. meshio reads only files with as many normals as points.
    report = run("prusa-slicer", "--info", str(folder / (name + ".obj")))
    assert abs(float(re.search(r"volume = (\S+)", report)[1]) / volume - 1) < 1e-4, report
    report = run("prusa-slicer", "--export-gcode", "-o", str(folder / "sliced.gcode"), str(file))
    assert (folder / "sliced.gcode").stat().st_size > 1000
    assert not re.search(r"repair|error|warning", report, re.IGNORECASE), report


def check_viewer(folder, name):
    """Draws something: the picture has light and dark points."""
    picture = folder / "view.ppm.png"
    run("xvfb-run", "-a", "f3d", "--output", str(picture), "--resolution=320,240", str(folder / (name + ".glb")))
    data = picture.read_bytes()
    assert data[:8] == b"\x89PNG\r\n\x1a\n" and struct.unpack(">II", data[16:24]) == (320, 240)
    assert len(data) > 1500, "an empty picture"


def check_cgal(program, folder, models):
    """Oriented manifolds, closed, outwards, of the right genus; none intersects itself but at the thin rims of the gyroid,
    where its sheets meet the ball."""
    lines = run(program, *(str(folder / (name + ".ply")) for name in models)).strip().splitlines()
    assert len(lines) == len(models)
    for line, (name, (convex, genus, volume)) in zip(lines, models.items()):
        _, closed, bounds, outward, intersects, cgal_genus, cgal_volume = line.split()
        assert (closed, outward) == ("1", "1"), line
        assert int(cgal_genus) == genus, line
        assert abs(float(cgal_volume) / volume - 1) < 1e-6, line
        if name != "gyroid_ball":
            assert intersects == "0", line
        if convex:
            assert bounds == "1", line
        print(f"{name}: genus {genus}, intersects itself: {intersects}")


def write_models(program, folder, *cells):
    """What is known of the models, by name."""
    models = {}
    for line in run(program, folder, *cells).strip().splitlines():
        name, convex, genus, volume = line.split()
        models[name] = (convex == "1", int(genus), float(volume))
    assert len(models) == 12
    return models


def main():
    program, *cgal = sys.argv[1:]
    absent = missing(cgal)
    if absent:
        print("not checked by other programs, as these are not installed:", ", ".join(absent))
        print("scripts/install-deps.sh --ci installs them.")
        return 77
    with tempfile.TemporaryDirectory() as temporary:
        folder = Path(temporary)
        models = write_models(program, temporary)
        for name, (_, _, volume) in models.items():
            check_admesh(str(folder / (name + ".stl")), volume)
            check_meshio(folder, name, volume)
        check_cgal(cgal[0], folder, models)
        for name in ("nut", "gyroid_ball", "kelvin"):
            check_slicer(folder, name, models[name][2])
            check_viewer(folder, name)
        for cells in ("128", "256"):
            finer = write_models(program, temporary, cells)
            check_cgal(cgal[0], folder, {name: finer[name] for name in FINER})
    print(f"{len(models)} models: admesh, meshio, CGAL, prusa-slicer and f3d agree")
    return 0


if __name__ == "__main__":
    sys.exit(main())
