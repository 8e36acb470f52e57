// Times reading of mesh files that it writes itself: hexahedra as Gmsh, Abaqus and corner-point
// text, each beside the bare reading of the file's bytes and, for Gmsh files where Debian's
// libgmsh-dev was there at build time, beside Gmsh's own library.
//
//   read_bench [CELLS ALONG AN EDGE = 100] [RUNS = 3] [FOLDER = the temporary one]

#include "Meter.h"

#include <velmo/io/MbMeshFile.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <functional>

#ifdef VELMO_HAVE_GMSH
#include <gmsh.h>
#endif

namespace {

struct Lattice
{
  long edge;
  long nodes() const { return (edge + 1) * (edge + 1) * (edge + 1); }
  long cells() const { return edge * edge * edge; }

  void point(long node, double (&p)[3]) const
  {
    const long n = edge + 1;
    const double at[] = {static_cast<double>(node % n), static_cast<double>(node / n % n),
                         static_cast<double>(node / n / n)};
    for (int axis = 0; axis < 3; ++axis)
      p[axis] = (at[axis] + 0.2 * std::sin(at[(axis + 1) % 3])) / static_cast<double>(edge);
  }
  /// Numbered from 1.
  void cell(long cell, long (&nodes)[8]) const
  {
    const long n = edge + 1;
    const long first = 1 + cell % edge + n * (cell / edge % edge) + n * n * (cell / edge / edge);
    const long corners[] = {0, 1, 1 + n, n, n * n, n * n + 1, n * n + 1 + n, n * n + n};
    for (int c = 0; c < 8; ++c)
      nodes[c] = first + corners[c];
  }
};

void writeNodes(std::FILE* file, const Lattice& lattice, const char* format)
{
  for (long node = 0; node < lattice.nodes(); ++node) {
    double p[3];
    lattice.point(node, p);
    std::fprintf(file, format, node + 1, p[0], p[1], p[2]);
  }
}

void writeCells(std::FILE* file, const Lattice& lattice, const char* before, const char* between)
{
  for (long cell = 0; cell < lattice.cells(); ++cell) {
    long nodes[8];
    lattice.cell(cell, nodes);
    std::fprintf(file, before, cell + 1);
    for (const long node : nodes)
      std::fprintf(file, "%s%ld", between, node);
    std::fputs("\n", file);
  }
}

void writeMsh2(std::FILE* file, const Lattice& lattice)
{
  std::fprintf(file, "$MeshFormat\n2.2 0 8\n$EndMeshFormat\n$Nodes\n%ld\n", lattice.nodes());
  writeNodes(file, lattice, "%ld %.16g %.16g %.16g\n");
  std::fprintf(file, "$EndNodes\n$Elements\n%ld\n", lattice.cells());
  writeCells(file, lattice, "%ld 5 2 1 1", " ");
  std::fputs("$EndElements\n", file);
}

void writeMsh4(std::FILE* file, const Lattice& lattice)
{
  std::fprintf(file,
               "$MeshFormat\n4.1 0 8\n$EndMeshFormat\n$Entities\n0 0 0 1\n"
               "1 0 0 0 1 1 1 0 0\n$EndEntities\n$Nodes\n1 %ld 1 %ld\n3 1 0 %ld\n",
               lattice.nodes(), lattice.nodes(), lattice.nodes());
  for (long node = 1; node <= lattice.nodes(); ++node)
    std::fprintf(file, "%ld\n", node);
  for (long node = 0; node < lattice.nodes(); ++node) {
    double p[3];
    lattice.point(node, p);
    std::fprintf(file, "%.16g %.16g %.16g\n", p[0], p[1], p[2]);
  }
  std::fprintf(file, "$EndNodes\n$Elements\n1 %ld 1 %ld\n3 1 5 %ld\n", lattice.cells(),
               lattice.cells(), lattice.cells());
  writeCells(file, lattice, "%ld", " ");
  std::fputs("$EndElements\n", file);
}

void writeInp(std::FILE* file, const Lattice& lattice)
{
  std::fputs("*NODE\n", file);
  writeNodes(file, lattice, "%ld, %.16g, %.16g, %.16g\n");
  std::fputs("*ELEMENT, TYPE=C3D8\n", file);
  writeCells(file, lattice, "%ld", ", ");
}

void writeGrdecl(std::FILE* file, const Lattice& lattice)
{
  const long n = lattice.edge;
  std::fprintf(file, "SPECGRID\n%ld %ld %ld 1 F /\nCOORD\n", n, n, n);
  for (long j = 0; j <= n; ++j)
    for (long i = 0; i <= n; ++i)
      std::fprintf(file, "%.3f %.3f 0.000 %.3f %.3f 1000.000\n", 50.0 * i, 50.0 * j, 50.0 * i + 3,
                   50.0 * j + 5);
  std::fputs("/\nZCORN\n", file);
  for (long k = 0; k < 2 * n; ++k)
    for (long j = 0; j < 2 * n; ++j) {
      for (long i = 0; i < 2 * n; ++i)
        std::fprintf(file, "%.3f ",
                     2.5 * ((k + 1) / 2) + 9 * std::sin(0.1 * ((i + 1) / 2 + (j + 1) / 2)));
      std::fputs("\n", file);
    }
  std::fputs("/\nPORO\n", file);
  for (long cell = 0; cell < lattice.cells(); ++cell)
    std::fprintf(file, "%.6f%s", 0.2 + 0.1 * std::sin(0.01 * cell), cell % 6 == 5 ? "\n" : " ");
  std::fputs("/\n", file);
}

double best(int runs, const std::function<void()>& work)
{
  double seconds = 1e300;
  for (int run = 0; run < runs; ++run) {
    const double start = bench::now();
    work();
    seconds = std::min(seconds, bench::now() - start);
  }
  return seconds;
}

double sumOfBytes(const std::string& path)
{
  std::ifstream file(path, std::ios::binary);
  std::string block(1 << 20, ' ');
  unsigned sum = 0;
  while (file.read(block.data(), static_cast<std::streamsize>(block.size())) || file.gcount() > 0)
    for (std::streamsize i = 0; i < file.gcount(); i += 64)
      sum += static_cast<unsigned char>(block[static_cast<std::size_t>(i)]);
  return sum;
}

} // namespace

int main(int argc, char** argv)
{
  const Lattice lattice{argc > 1 ? std::atol(argv[1]) : 100};
  const int runs = argc > 2 ? std::atoi(argv[2]) : 3;
  const std::filesystem::path folder =
      argc > 3 ? std::filesystem::path(argv[3]) : std::filesystem::temp_directory_path();
  const struct
  {
    const char* name;
    void (*write)(std::FILE*, const Lattice&);
    bool isGmsh;
  } formats[] = {{"msh 2.2", writeMsh2, true},
                 {"msh 4.1", writeMsh4, true},
                 {"inp", writeInp, false},
                 {"grdecl", writeGrdecl, false}};
  std::printf("%ld hexahedra, best of %d, seconds\n", lattice.cells(), runs);
  std::printf("%-8s %8s %8s %8s %8s %8s %8s\n", "format", "MB", "bytes", "serial", "parallel",
              "gmsh", "ratio");
#ifdef VELMO_HAVE_GMSH
  gmsh::initialize();
  gmsh::option::setNumber("General.Verbosity", 0);
#endif
  for (const auto& format : formats) {
    const std::string path =
        (folder / ("velmo_read_bench." + std::string(format.name).substr(0, 3))).string();
    std::FILE* file = std::fopen(path.c_str(), "w");
    if (!file) return 1;
    format.write(file, lattice);
    std::fclose(file);
    double sum = 0, peer = 0;
    const double bytes = best(runs, [&] { sum += sumOfBytes(path); });
    double seconds[2];
    for (const bool parallel : {false, true})
      seconds[parallel] = best(runs, [&] {
        MbMeshFileOptions options;
        options.parallel = parallel;
        const MbMeshFile mesh = MbMeshFile::read(path, options);
        if (mesh.getCellCount() != static_cast<std::size_t>(lattice.cells())) std::exit(1);
      });
#ifdef VELMO_HAVE_GMSH
    if (format.isGmsh)
      peer = best(runs, [&] {
        gmsh::clear();
        gmsh::merge(path);
        std::vector<std::size_t> tags;
        std::vector<double> points, parameters;
        gmsh::model::mesh::getNodes(tags, points, parameters);
        if (tags.size() != static_cast<std::size_t>(lattice.nodes())) std::exit(1);
      });
#endif
    std::printf("%-8s %8.1f %8.3f %8.3f %8.3f %8.3f %8.1f\n", format.name,
                static_cast<double>(std::filesystem::file_size(path)) / 1e6, bytes, seconds[0],
                seconds[1], peer, peer / seconds[1]);
    std::filesystem::remove(path);
  }
  return 0;
}
