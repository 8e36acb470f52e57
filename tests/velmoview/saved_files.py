"""Opens what velmoview saves with VTK's own readers: saved_files.py VELMOVIEW.

Exit code 77 where VTK or numpy is missing.
"""
import json
import os
import subprocess
import sys
import tempfile

try:
    import numpy as np
    from vtk.util.numpy_support import vtk_to_numpy
    from vtkmodules import vtkIOXML
except ImportError as missing:
    # The system's Python has the system's VTK.
    system = "/usr/bin/python3"
    if os.path.exists(system) and "VELMO_OTHER_PYTHON" not in os.environ:
        os.environ["VELMO_OTHER_PYTHON"] = "1"
        os.execv(system, [system, *sys.argv])
    print(f"skipped: {missing}")
    sys.exit(77)

READERS = {
    ".vtu": vtkIOXML.vtkXMLUnstructuredGridReader,
    ".vti": vtkIOXML.vtkXMLImageDataReader,
    ".vtr": vtkIOXML.vtkXMLRectilinearGridReader,
    ".vts": vtkIOXML.vtkXMLStructuredGridReader,
    ".vtp": vtkIOXML.vtkXMLPolyDataReader,
}
FAILURES = []


def expect(is_true, what):
    if not is_true:
        FAILURES.append(what)
        print("FAILED:", what)


def run(*arguments):
    """The report of one run, whose warnings are failures."""
    path = "report.json"
    done = subprocess.run([VELMOVIEW, *arguments, "--strict", "--report", path],
                          capture_output=True, text=True)
    expect(done.returncode == 0, f"{arguments}: {done.stderr}")
    with open(path, encoding="utf-8") as file:
        return json.load(file)


def read(path):
    reader = READERS[os.path.splitext(path)[1]]()
    errors = []
    reader.AddObserver("ErrorEvent", lambda *_: errors.append(path))
    reader.SetFileName(path)
    reader.Update()
    expect(not errors, f"{path}: VTK reports an error")
    return reader.GetOutput()


def arrays(data):
    return {data.GetArrayName(n): vtk_to_numpy(data.GetArray(n))
            for n in range(data.GetNumberOfArrays())}


def points_of(data):
    if hasattr(data, "GetPoints") and data.GetPoints():
        return vtk_to_numpy(data.GetPoints().GetData()).astype(float).reshape(-1, 3)
    return np.array([data.GetPoint(n) for n in range(data.GetNumberOfPoints())]).reshape(-1, 3)


def cells_of(cell_array):
    """Node numbers, a numpy array a cell."""
    offsets = vtk_to_numpy(cell_array.GetOffsetsArray())
    nodes = vtk_to_numpy(cell_array.GetConnectivityArray())
    return [nodes[offsets[c]:offsets[c + 1]] for c in range(len(offsets) - 1)]


def check_mesh(demo, suffix, *how):
    path = f"{demo}{suffix}"
    told = run("--demo", demo, "--demo-size", "12", "--save-mesh", path, *how)["input"]
    mesh = read(path)
    shared = demo != "reservoir-vertex"
    expect(mesh.GetNumberOfCells() == told["cells"], f"{path}: cells")
    expect(not shared or mesh.GetNumberOfPoints() == told["nodes"], f"{path}: nodes")
    expect(np.allclose(mesh.GetBounds(), told["bounds"]), f"{path}: bounds")
    found = {"PER_NODE": arrays(mesh.GetPointData()), "PER_CELL": arrays(mesh.GetCellData())}
    for array in told["arrays"]:
        values = found[array["binding"]].get(array["name"])
        expect(values is not None and str(values.dtype) == array["type"], f"{path}: {array['name']}")
        if values is not None:
            expect(np.allclose(values.min(axis=0), array["min"], rtol=1e-6)
                   and np.allclose(values.max(axis=0), array["max"], rtol=1e-6),
                   f"{path}: the range of {array['name']}")
    ghosts = found["PER_CELL"].get("vtkGhostType", np.zeros(1, np.uint8))
    expect(int((ghosts & 32 != 0).sum()) == told["dead_cells"], f"{path}: dead cells")
    if suffix == ".vtu":
        shapes = {"tetrahedron": 10, "hexahedron": 12, "wedge": 13, "pyramid": 14, "polyhedron": 42,
                  "quadratic_tetrahedron": 24, "quadratic_hexahedron": 25, "quadratic_wedge": 26,
                  "quadratic_pyramid": 27, "quad": 9, "triangle": 5, "line": 3}
        types = vtk_to_numpy(mesh.GetCellTypesArray())
        for name, count in told["shapes"].items():
            expect(int((types == shapes[name]).sum()) == count, f"{path}: {name}")
        if "polyhedron" in told["shapes"]:
            expect(mesh.GetCell(0).GetNumberOfFaces() > 3, f"{path}: the faces of a polyhedron")
    return mesh


def fan_area(points, cells):
    total = 0.0
    for cell in cells:
        corner = points[cell] - points[cell[0]]
        total += np.linalg.norm(np.cross(corner[1:-1], corner[2:]), axis=1).sum() / 2
    return total


def check_results(demo, *what):
    """Saves what is extracted and the mesh, and puts the nodes together from those of the mesh."""
    prefix = f"{demo}-out"
    report = run("--demo", demo, "--demo-size", "12", *what, "--save", prefix,
                 "--save-mesh", f"{demo}-in.vtu", "--compress")
    source = read(f"{demo}-in.vtu")
    places = points_of(source)
    size = np.linalg.norm(places.max(axis=0) - places.min(axis=0))
    for number, told in enumerate(report["representations"], 1):
        path = f"{prefix}-{number}-{told['type']}.vtp"
        data = read(path)
        points = points_of(data)
        per_node, per_cell = arrays(data.GetPointData()), arrays(data.GetCellData())
        expect(len(points) == told["nodes"], f"{path}: nodes")
        if "area" in told:
            cells = cells_of(data.GetPolys())
            expect(len(cells) == told["cells"], f"{path}: faces")
            expect(np.isclose(fan_area(points, cells), told["area"], rtol=1e-5), f"{path}: area")
        else:
            cells = cells_of(data.GetLines())
            expect(sum(len(c) - 1 for c in cells) == told["cells"], f"{path}: segments")
            length = sum(np.linalg.norm(np.diff(points[c], axis=0), axis=1).sum() for c in cells)
            expect(np.isclose(length, told["length"], rtol=1e-5), f"{path}: length")
        nodes = per_node["SourceNodes"].reshape(len(points), -1)
        weights = per_node.get("SourceWeights", np.ones_like(nodes, float)).reshape(nodes.shape)
        mixed = (places[np.maximum(nodes, 0)] * (weights * (nodes >= 0))[..., None]).sum(axis=1)
        expect(np.abs(mixed - points).max() < 1e-5 * size, f"{path}: nodes from their sources")
        for name, values in arrays(source.GetPointData()).items():
            values = values.astype(float).reshape(len(places), -1)
            mixed = (values[np.maximum(nodes, 0)] * (weights * (nodes >= 0))[..., None]).sum(axis=1)
            expect(np.allclose(mixed, per_node[name].reshape(mixed.shape), rtol=1e-4,
                               atol=1e-5 * np.abs(values).max()), f"{path}: {name}")
        along = "SourceCell" in per_node
        cell_ids = (per_node if along else per_cell)["SourceCell"]
        for name, values in arrays(source.GetCellData()).items():
            if name != "vtkGhostType":
                mapped = (per_node if along else per_cell)[name]
                expect(np.array_equal(mapped, values[cell_ids]), f"{path}: {name}")
        if told["type"] == "streamlines":
            times = per_node["IntegrationTime"]
            expect(all((np.diff(times[c]) > 0).all() for c in cells), f"{path}: times rise")
            expect((per_node["Speed"] >= 0).all(), f"{path}: speeds")
            ends = {int(s): times[c[-1]] for s, c in zip(per_cell["Seed"], cells)}
            for seed, end in ends.items():
                expect(np.isclose(end, told["lines"][seed]["time"]), f"{path}: seed {seed}")
        if told["type"] == "isolines":
            expect(sorted(set(per_cell["Isovalue"])) ==
                   sorted(p["value"] for p in told["parts"] if p["polylines"]), f"{path}: values")


VELMOVIEW = os.path.abspath(sys.argv[1])
with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    for n, name in enumerate(["beam", "lug", "grains", "reservoir", "reservoir-vertex", "orbital",
                              "cloud", "turbine", "terrain"]):
        check_mesh(name, ".vtu", *(["--compress"] if n % 2 else []))
    check_mesh("orbital", ".vti")
    check_mesh("cloud", ".vtr", "--compress")
    for name in ["orbital", "cloud", "turbine", "terrain"]:
        check_mesh(name, ".vts")
    check_results("turbine", "--skin", "--plane", "0,1,0,0", "--streamlines", "velocity",
                  "--seed-count", "9", "--slab", "I=1")
    check_results("lug", "--skin", "--plane", "1,0,0,2.01", "--tessellate", "2")
    check_results("grains", "--skin", "--plane", "1,0,0,0.51")
    check_results("reservoir", "--skin", "--logical-slice", "K=1")
    check_results("terrain", "--surface", "--isolines", "elevation=700,900.5,1e6")
    os.chdir("/")
sys.exit(1 if FAILURES else 0)
