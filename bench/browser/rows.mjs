// Rows of figures, as bench/report.py takes them.

import {appendFileSync} from 'node:fs';

export function median(values) {
  return [...values].sort((a, b) => a - b)[Math.floor(values.length / 2)];
}

/** Prints a row, and appends it to the file that BENCH_ROWS names. */
export function report(row) {
  const line = JSON.stringify({
    platform: 'Wine', against: '', atLeast: false, baseline: 0, subject: 0, ...row,
  });
  console.log(line);
  if (process.env.BENCH_ROWS) appendFileSync(process.env.BENCH_ROWS, `${line}\n`);
}
