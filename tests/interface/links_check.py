#!/usr/bin/env python3
"""Checks that every link of the documents to a file of the project leads to one.

usage: links_check.py PROJECT_DIR      exit status 1 when a link leads nowhere
"""
import pathlib
import re
import sys

project = pathlib.Path(sys.argv[1])
documents = sorted([*project.glob("*.md"), *project.glob("docs/*.md")])
links = [(document, target)
         for document in documents
         for target in re.findall(r"\]\(([^)#\s]+)", re.sub(r"```.*?```", "", document.read_text(), flags=re.S))
         if "://" not in target]
broken = [f"{document.relative_to(project)}: {target} leads nowhere"
          for document, target in links if not (document.parent / target).exists()]
print("\n".join(broken) or f"{len(links)} links in {len(documents)} documents")
sys.exit(1 if broken or not links else 0)
