#!/usr/bin/env python3
"""Planted-fault check: how many small faults in the program does the suite catch?

    tools/mutate.py generate [--seed N] [--per-folder N]   writes tools/mutate-sample.txt
    tools/mutate.py run [--work DIR] [--limit N] [--timeout S] [--ids 1,2,...]
    tools/mutate.py report [--work DIR]

The sample is committed, so that it changes only on purpose. `run` never touches the working
tree: it clones the current commit into the work folder (default build/mutate), builds the
x86_64 test build there once, makes one Wine prefix for the runs, and for each fault applies it,
rebuilds, runs the whole suite under the test rig from a fresh copy of that prefix (so no fault
leaves state for the next) and puts the file back. Results go to results.jsonl in the work
folder, one line a fault, so an interrupted run goes on where it stopped. A fault whose line has
moved is looked for near its old place; one that no longer applies is "stale" and not counted,
nor is one that does not compile. Faults listed in tools/mutate-equivalent.txt (id, tab, reason)
cannot change behaviour and are left out of the rate.
"""
import argparse
import json
import os
import random
import re
import shutil
import subprocess
import sys
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SAMPLE = os.path.join(ROOT, "tools", "mutate-sample.txt")
EQUIVALENT = os.path.join(ROOT, "tools", "mutate-equivalent.txt")
FOLDERS = ["app", "detect", "setup", "diag", "support"]
NEAR = 40  # lines searched on either side of a fault's recorded line

COMPARISONS = [(" == ", " != "), (" != ", " == "), (" < ", " >= "), (" >= ", " < "), (" > ", " <= "), (" <= ", " > ")]


def code_spans(line):
    """The parts of a line outside string and character literals and // comments."""
    spans, start, i, quote = [], 0, 0, None
    while i < len(line):
        c = line[i]
        if quote:
            if c == "\\":
                i += 1
            elif c == quote:
                quote, start = None, i + 1
        elif line.startswith("//", i):
            break
        elif c in "\"'":
            spans.append((start, i))
            quote = c
        i += 1
    if not quote:
        spans.append((start, i))
    return spans


def in_code(line, pos, length):
    return any(a <= pos and pos + length <= b for a, b in code_spans(line))


def candidates(line, previous=";"):
    """(operator, mutated line) pairs for one source line; `previous` is the line before it."""
    text = line.strip()
    if not text or "\t" in line or text.startswith(("//", "#", "*", "/*")) or "static_assert" in text:
        return []
    out = []
    for old, new in COMPARISONS + [(" && ", " || "), (" || ", " && ")]:
        pos = line.find(old)
        if pos >= 0 and in_code(line, pos, len(old)) and "<<" not in line and "template" not in line:
            out.append(("comparison" if old.strip() not in ("&&", "||") else "logic", line[:pos] + new + line[pos + len(old):]))
    for m in re.finditer(r"(?<![\w.])(\d+)(?![\w.])", line):
        if in_code(line, m.start(), len(m.group())) and not text.startswith(("case", "enum", "const wchar_t")):
            out.append(("constant", line[:m.start()] + str(int(m.group()) + 1) + line[m.end():]))
    if re.match(r"^\s*[A-Za-z_][\w:]*(\.|->)?[\w]*\(.*\);\s*$", line) and not text.startswith(("return", "delete")) \
            and "=" not in text.split("(")[0] and previous.rstrip().endswith((";", "{", "}", ":")):  # not a call's last line
        out.append(("call removed", re.match(r"^\s*", line).group() + ";"))
    m = re.match(r"^(\s*)(if|while) \((.*)\)(\s*\{?)$", line)
    if m and m.group(3).count("(") == m.group(3).count(")"):
        out.append(("negated", "%s%s (!(%s))%s" % (m.group(1), m.group(2), m.group(3), m.group(4))))
    for old, new in (("return 1;", "return 0;"), ("return 0;", "return 1;"), ("return true;", "return false;"),
                     ("return false;", "return true;")):
        if text == old:
            out.append(("return", line.replace(old, new)))
    return out


def generate(seed, per_folder):
    rng = random.Random(seed)
    faults = []
    for folder in FOLDERS:
        pool = []
        for name in sorted(os.listdir(os.path.join(ROOT, folder))):
            if not name.endswith(".cpp"):
                continue
            path = os.path.join(folder, name)
            with open(os.path.join(ROOT, path), encoding="utf-8") as f:
                lines = f.read().split("\n")
                for number, line in enumerate(lines, 1):
                    for operator, mutated in candidates(line, lines[number - 2] if number > 1 else ";"):
                        pool.append((path, number, operator, line, mutated))
        # Each operator in turn, so that constants (the most common candidates) do not crowd out
        # the others.
        rng.shuffle(pool)
        kinds = sorted({c[2] for c in pool})
        chosen = []
        while len(chosen) < min(per_folder, len(pool)):
            for kind in kinds:
                left = [c for c in pool if c[2] == kind and c not in chosen]
                if left and len(chosen) < per_folder:
                    chosen.append(left[0])
        faults += chosen
    with open(SAMPLE, "w", encoding="utf-8") as f:
        f.write("# Planted faults for tools/mutate.py: id, file, line, operator, original line, faulty line "
                "(tab-separated; lines holding a tab are never chosen). Made by: tools/mutate.py generate --seed %d "
                "--per-folder %d\n" % (seed, per_folder))
        for i, (path, number, operator, line, mutated) in enumerate(faults, 1):
            f.write("\t".join([str(i), path, str(number), operator, line, mutated]) + "\n")
    print("%d faults written to %s" % (len(faults), os.path.relpath(SAMPLE, ROOT)))


def load_sample():
    faults = []
    with open(SAMPLE, encoding="utf-8") as f:
        for row in f:
            if row.startswith("#") or not row.strip():
                continue
            i, path, number, operator, line, mutated = row.rstrip("\n").split("\t")
            faults.append({"id": int(i), "file": path, "line": int(number), "operator": operator,
                           "original": line, "mutated": mutated})
    return faults


def load_equivalent():
    reasons = {}
    if os.path.exists(EQUIVALENT):
        with open(EQUIVALENT, encoding="utf-8") as f:
            for row in f:
                if row.strip() and not row.startswith("#"):
                    i, _, reason = row.rstrip("\n").partition("\t")
                    reasons[int(i)] = reason
    return reasons


def load_results(work):
    results = {}
    path = os.path.join(work, "results.jsonl")
    if os.path.exists(path):
        with open(path, encoding="utf-8") as f:
            for row in f:
                result = json.loads(row)
                results[result["id"]] = result
    return results


def sh(command, cwd=None, timeout=None, env=None):
    # A session of its own, so that a run out of time is stopped with everything it started (a hung
    # test runner would otherwise outlive it).
    child = subprocess.Popen(command, cwd=cwd, shell=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                             errors="replace", env=env, start_new_session=True)
    try:
        out, _ = child.communicate(timeout=timeout)
        return child.returncode, out
    except subprocess.TimeoutExpired:
        os.killpg(child.pid, 15)
        out, _ = child.communicate()
        return "timeout", out or ""


def prepare(work):
    src, build = os.path.join(work, "src"), os.path.join(work, "build")
    head = subprocess.check_output(["git", "-C", ROOT, "rev-parse", "HEAD"], text=True).strip()
    if not os.path.isdir(src):
        subprocess.check_call(["git", "clone", "-q", "--no-hardlinks", ROOT, src])
    subprocess.check_call("git fetch -q %s %s && git checkout -q -f FETCH_HEAD" % (ROOT, head), cwd=src, shell=True)
    if not os.path.exists(os.path.join(build, "CMakeCache.txt")):
        subprocess.check_call(["cmake", "-S", src, "-B", build, "--toolchain", os.path.join(src, "cmake/mingw-x86_64.cmake"),
                               "-DCMAKE_BUILD_TYPE=Release", "-DTLPDF_BUILD_TESTS=ON"], stdout=subprocess.DEVNULL)
    code, log = sh("cmake --build %s -j%d" % (build, os.cpu_count() or 2))
    if code != 0:
        sys.exit("mutate: the unchanged program does not build:\n" + log[-3000:])
    template = os.path.join(work, "prefix-template")
    if not os.path.isdir(template):
        sh(". %s/tests/rig/rig.sh; trap rig_stop EXIT; rig_start %s" % (src, template), timeout=600)
    return src, build, template, head


def run_suite(src, build, template, work, timeout):
    prefix = os.path.join(work, "prefix")
    shutil.rmtree(prefix, ignore_errors=True)
    subprocess.call(["cp", "-a", template, prefix])
    script = (". %s/tests/rig/rig.sh; trap rig_stop EXIT; rig_start %s 2>/dev/null; cd %s/bin && "
              "\"$WINELOADER\" ./tlpdf_tests.exe --gtest_brief=1" % (src, prefix, build))
    started = time.time()
    code, log = sh(script, timeout=timeout, env=dict(os.environ, GTEST_FAIL_FAST="1"))
    failed = sorted(set(re.findall(r"\[  FAILED  \] (\S+)", log)))
    return code, failed, round(time.time() - started)


def apply(src, fault):
    path = os.path.join(src, fault["file"])
    with open(path, encoding="utf-8") as f:
        lines = f.read().split("\n")
    at = fault["line"] - 1
    order = sorted(range(max(0, at - NEAR), min(len(lines), at + NEAR + 1)), key=lambda n: abs(n - at))
    for n in order:
        if lines[n] == fault["original"]:
            lines[n] = fault["mutated"]
            with open(path, "w", encoding="utf-8") as f:
                f.write("\n".join(lines))
            return n + 1
    return None


def run(args):
    work = os.path.abspath(args.work)
    os.makedirs(work, exist_ok=True)
    results_path = os.path.join(work, "results.jsonl")
    done = load_results(work)
    src, build, template, head = prepare(work)
    wanted = {int(i) for i in args.ids.split(",")} if args.ids else None
    todo = [f for f in load_sample() if f["id"] not in done and (wanted is None or f["id"] in wanted)]
    for fault in todo[: args.limit or None]:
        result = {"id": fault["id"], "commit": head}
        line = apply(src, fault)
        if line is None:
            result["state"] = "stale"
        else:
            result["at"] = line
            code, log = sh("cmake --build %s -j%d --target tlpdf tlpdf_tests" % (build, os.cpu_count() or 2))
            if code != 0:
                result["state"] = "does not compile"
            else:
                code, failed, seconds = run_suite(src, build, template, work, args.timeout)
                result.update(state="killed" if code != 0 else "survived", by=failed or [str(code)], seconds=seconds)
            subprocess.call(["git", "checkout", "-q", "--", fault["file"]], cwd=src)
        with open(results_path, "a", encoding="utf-8") as f:
            f.write(json.dumps(result) + "\n")
        print("%3d %-24s %s:%d %s" % (fault["id"], result["state"], fault["file"], fault["line"], fault["operator"]),
              flush=True)
    sh("cmake --build %s -j%d --target tlpdf tlpdf_tests" % (build, os.cpu_count() or 2))
    report(args)


def report(args):
    results = load_results(os.path.abspath(args.work))
    equivalent = load_equivalent()
    counted = killed = 0
    for fault in load_sample():
        result = results.get(fault["id"])
        if not result or result["state"] in ("stale", "does not compile"):
            continue
        if fault["id"] in equivalent:
            continue
        counted += 1
        if result["state"] == "killed":
            killed += 1
        else:
            print("survivor %d %s:%d (%s): %s  ->  %s" % (fault["id"], fault["file"], fault["line"], fault["operator"],
                                                        fault["original"].strip(), fault["mutated"].strip()))
    for fault in load_sample():
        result = results.get(fault["id"])
        if result and result["state"] == "killed" and fault["id"] not in equivalent:
            print("killed %d by %s" % (fault["id"], ", ".join(result["by"])))
    for fault in load_sample():
        result = results.get(fault["id"])
        if result and result["state"] in ("stale", "does not compile"):
            print("%s %d %s:%d (%s)" % (result["state"], fault["id"], fault["file"], fault["line"], fault["operator"]))
    stale = sum(1 for r in results.values() if r["state"] in ("stale", "does not compile"))
    print("sample %d, run %d, stale or not compiling %d, equivalent %d" % (len(load_sample()), len(results), stale,
                                                                          len(equivalent)))
    print("kill rate %d/%d = %.1f%%" % (killed, counted, 100.0 * killed / counted if counted else 0.0))


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    sub = parser.add_subparsers(dest="command", required=True)
    g = sub.add_parser("generate")
    g.add_argument("--seed", type=int, default=24)
    g.add_argument("--per-folder", type=int, default=16)
    for name in ("run", "report"):
        p = sub.add_parser(name)
        p.add_argument("--work", default=os.path.join(ROOT, "build", "mutate"))
        p.add_argument("--limit", type=int, default=0)
        p.add_argument("--timeout", type=int, default=600)
        p.add_argument("--ids", default="")
    args = parser.parse_args()
    if args.command == "generate":
        generate(args.seed, args.per_folder)
    elif args.command == "run":
        run(args)
    else:
        report(args)


if __name__ == "__main__":
    main()
