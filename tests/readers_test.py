"""Reads what sfdag writes with programs that are not ours: readers_test.py SFDAG [unittest arguments].

Runs under the system's own Python, for which Debian has NumPy, OpenVDB and VTK. What is not installed is skipped, and named.
"""

import base64
import os
import shutil
import subprocess
import sys
import unittest
import xml.etree.ElementTree

import sfdag_test
from sfdag_test import SfdagTest


def find(module, package):
    try:
        return __import__(module)
    except ImportError:
        print("skipped: a test needs the Debian package " + package, file=sys.stderr)
        return None


numpy = find("numpy", "python3-numpy")
openvdb = find("pyopenvdb", "python3-openvdb")
vtk = find("vtk", "python3-vtk9")
teem = shutil.which("teem-unu") or find("teem-unu", "teem-apps")
GYROID = ["-e", "intersection(gyroid(10, 1.5), sphere(20))"]
TABLE = [  # model, grid, points, voxel, origin
    (GYROID, ["-b", "-21,-21,-21,21,21,21", "-s", "1"], (43, 43, 43), 1.0, (-21, -21, -21)),
    (["-e", "2 * x * y - z"], ["-b", "-1,-1,-2,2,1,2", "-s", "0.25"], (13, 9, 17), 0.25, (-1, -1, -2)),
    (["-e", "box([4, 4, 4])"], ["-b", "0,0,0,9,1,1", "-s", "0.04"], (226, 26, 26), 0.04, (0, 0, 0)),
    # more than one slab
    (["-e", "sphere(20)"], ["--dims", "180x170x160", "-s", "0.25", "--origin", "-20,-19,-18"], (180, 170, 160), 0.25,
     (-20, -19, -18)),
]


@unittest.skipIf(numpy is None, "no NumPy")
class Volumes(SfdagTest):
    def grid(self, model, grid, name, *more):
        self.succeed("grid", *model, *grid, "-o", name, *more)
        return self.path(name)

    def cases(self):
        for model, grid, points, voxel, origin in TABLE:
            raw = numpy.fromfile(self.grid(model, grid, "values.raw"), "<f4")
            yield model, grid, raw.reshape(points[::-1]), voxel, origin

    def test_npy(self):
        for model, grid, values, _, _ in self.cases():
            numpy.testing.assert_array_equal(numpy.load(self.grid(model, grid, "values.npy")), values)

    @unittest.skipIf(not teem, "no teem-apps")
    def test_nrrd(self):
        for model, grid, values, voxel, origin in self.cases():
            path = self.grid(model, grid, "values.nrrd", "--units", "in")
            data = subprocess.run([teem, "save", "-f", "nrrd", "-e", "ascii", "-i", path], stdout=subprocess.PIPE,
                                  check=True).stdout.decode()
            header, numbers = data.split("\n\n", 1)
            fields = dict(line.split(": ", 1) for line in header.split("\n") if ": " in line)
            read = numpy.array(numbers.split(), "f4").reshape([int(n) for n in fields["sizes"].split()][::-1])
            numpy.testing.assert_allclose(read, values, 1e-6)
            self.assertEqual(fields["space units"], '"in" "in" "in"')
            self.assertEqual(eval(fields["space origin"]), tuple(origin))
            self.assertEqual([eval(d) for d in fields["space directions"].split()],
                             [(voxel, 0, 0), (0, voxel, 0), (0, 0, voxel)])

    @unittest.skipIf(vtk is None, "no VTK")
    def test_vti(self):
        from vtk.util.numpy_support import vtk_to_numpy
        for model, grid, values, voxel, origin in self.cases():
            reader = vtk.vtkXMLImageDataReader()
            reader.SetFileName(self.grid(model, grid, "values.vti"))
            reader.Update()
            image = reader.GetOutput()
            self.assertEqual((image.GetDimensions(), image.GetOrigin(), image.GetSpacing()),
                             (values.shape[::-1], tuple(origin), (voxel,) * 3))
            self.assertEqual(image.GetPointData().GetScalars().GetName(), "field")
            numpy.testing.assert_array_equal(vtk_to_numpy(image.GetPointData().GetScalars()), values.ravel())

    @unittest.skipIf(openvdb is None, "no OpenVDB")
    def test_vdb(self):
        for model, grid, values, voxel, origin in self.cases():
            for half_band, more in [(3, []), (1.5, ["--band", "1.5", "--units", "um"])]:
                read = openvdb.read(self.grid(model, grid, "values.vdb", *more), "field")
                steepness = read.metadata["steepness"]
                self.assertEqual((read.gridClass, read.metadata["unit"]), ("level set", "um" if more else "mm"))
                self.assertEqual(read.transform.voxelSize(), (voxel,) * 3)
                numpy.testing.assert_allclose(read.transform.indexToWorld((1, 2, 3)),
                                              [origin[a] + (a + 1) * voxel for a in range(3)], 1e-12)
                self.assertEqual(read.background, numpy.float32(half_band * voxel))
                self.assertEqual(steepness == 1, model[1].startswith(("sphere", "box")))  # the distances

                expected = values.transpose()
                band = numpy.abs(expected) < numpy.float32(half_band * voxel * steepness)
                self.assertEqual(read.activeVoxelCount(), band.sum())
                dense = numpy.zeros(expected.shape, "f4")
                read.copyToArray(dense)
                numpy.testing.assert_allclose(dense[band] * steepness, expected[band], 1e-6)
                numpy.testing.assert_array_equal(dense[~band], numpy.copysign(read.background, expected[~band]))
                self.assertEqual(read.getConstAccessor().getValue((-1, -1, -1)), read.background)

    @unittest.skipIf(vtk is None, "no VTK")
    def test_pictures(self):
        for verb, more in [("render", ["--size", "64x48"]), ("slice", ["-n", "63", "--scale", "1"])]:
            self.succeed(verb, "-e", "sphere(2)", *more, "-o", "picture.png")
            reader = vtk.vtkPNGReader()
            reader.SetFileName(self.path("picture.png"))
            reader.Update()
            self.assertEqual(reader.GetOutput().GetDimensions(), (64, 48, 1) if verb == "render" else (66, 66, 1))
            low, high = reader.GetOutput().GetPointData().GetScalars().GetRange()
            self.assertGreater(high - low, 100)
        self.succeed("slice", "-e", "sphere(2)", "-o", "picture.svg")
        drawing = xml.etree.ElementTree.parse(self.path("picture.svg")).getroot()
        inside = drawing.find("{*}image").get("href")
        self.assertEqual(base64.b64decode(inside.split(",")[1])[:4], b"\x89PNG")
        self.assertGreater(len(drawing.findall("{*}path")), 10)

    def test_bands_of_other_formats(self):
        values = numpy.load(self.grid(GYROID, ["-n", "40"], "all.npy"))
        banded = numpy.load(self.grid(GYROID, ["-n", "40"], "band.npy", "--band", "2"))
        self.assertGreater(banded.max(), 1.5)
        numpy.testing.assert_array_equal(banded, numpy.clip(values, -banded.max(), banded.max()))


if __name__ == "__main__":
    sfdag_test.SFDAG = os.path.abspath(sys.argv.pop(1))
    unittest.main()
