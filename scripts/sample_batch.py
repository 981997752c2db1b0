#!/usr/bin/env python3
"""Compares a sample batch with what a site made of it.

list  BATCH.json                                   prints "code<TAB>name" of the companies to add
check BATCH.json DELIVERED ZAV_ADMIN CONFIG FETCHED  fetches every imported job back and compares it with its source

The batch's JSON comes from `zav_samples batch --json`. Exit code 1 where anything differs.
"""
import filecmp
import json
import os
import subprocess
import sys
import zipfile


def companies(batch):
    return [c for c in batch["companies"] if c.get("known", True)]


def print_companies(batch_file):
    with open(batch_file, encoding="utf-8") as file:
        for company in companies(json.load(file)):
            print(f"{company['code']}\t{company['name']}")


def source_of(job, delivered):
    name = job["job_name"] + ("." + job["suffix"] if job["suffix"] else "")
    return os.path.join(delivered, job["company_name"], name)


def folder_files(folder):
    for parent, _, names in os.walk(folder):
        for name in names:
            path = os.path.join(parent, name)
            yield os.path.relpath(path, folder), path


def same_folder(archive, folder):
    """Whether the archive holds the folder's files, byte for byte, without the manifest that the import consumes."""
    expected = {name: path for name, path in folder_files(folder) if name != "readme.json"}
    with zipfile.ZipFile(archive) as packed:
        names = {n for n in packed.namelist() if not n.endswith("/")}
        if names != set(expected):
            return False
        for name, path in expected.items():
            with open(path, "rb") as file:
                if packed.read(name) != file.read():
                    return False
    return True


def check(batch_file, delivered, admin, config, fetched):
    with open(batch_file, encoding="utf-8") as file:
        batch = json.load(file)
    expected = sum(1 for c in companies(batch) for e in c["entries"] if e["kind"] != "refused")
    listing = subprocess.run([admin, "--config", config, "--json", "jobs"], check=True, capture_output=True)
    jobs = json.loads(listing.stdout)["jobs"]
    os.makedirs(fetched, exist_ok=True)
    wrong = 0
    for job in jobs:
        target = os.path.join(fetched, job["stored_name"])
        subprocess.run([admin, "--config", config, "get", job["generated_name"], target], check=True,
                       stdout=subprocess.DEVNULL)
        source = source_of(job, delivered)
        same = same_folder(target, source) if os.path.isdir(source) else filecmp.cmp(source, target, shallow=False)
        if not same:
            print(f"DIFFERENT {job['generated_name']} {source}")
            wrong += 1
    print(f"{len(jobs)} of {expected} jobs imported, {len(jobs) - wrong} equal to their sources byte for byte")
    return 0 if wrong == 0 and len(jobs) == expected else 1


def main(arguments):
    if len(arguments) == 2 and arguments[0] == "list":
        print_companies(arguments[1])
        return 0
    if len(arguments) == 6 and arguments[0] == "check":
        return check(*arguments[1:])
    print(__doc__, file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
