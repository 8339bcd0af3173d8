"""The file of figures: medians by workload, number of connections and peer."""

import datetime
import json
import os
import platform


def keep(path, options, records):
    """Puts records into the file, in place of those of the same workloads and connections."""
    def key(record):
        return record["workload"], record["connections"]

    old = json.loads(path.read_text())["results"] if path.exists() else []
    new = {key(record) for record in records}
    kept = [record for record in old if key(record) not in new]
    path.write_text(json.dumps(
        {"date": datetime.date.today().isoformat(),
         "machine": f"{os.cpu_count()} cores, {platform.system()} {platform.release().split('-')[0]}",
         "results": sorted(kept + [{**record, "rounds": options.rounds, "seconds": options.seconds}
                                   for record in records], key=key)}, indent=1) + "\n")
