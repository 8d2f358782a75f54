// What the sample page tells of an application, from what the launcher reports and answers.

import assert from 'node:assert/strict';
import {test} from 'node:test';

import {ApplicationStates, START_LIMIT_MS} from '../../hosts/browser/page/application_state.js';

const PIPES = {'BRENNA-CTE-GAME': 'brenna', 'BRENNA-GAME': 'brenna', 'SOLANO-GAME': 'solano'};
const NOW = 1_000_000;

/** `lookups`: {appId: [installed, running]}; `reports`: [appId, state] in their order. */
function after({before = {}, reports = [], lookups, now = NOW}) {
  const states = new ApplicationStates(PIPES);
  const lookUp = (found) => {
    for (const [appId, [installed, running]] of Object.entries(found)) {
      states.lookedUp({appId, installed, running});
    }
  };
  lookUp(before);
  for (const [appId, state] of reports) states.report(appId, state, NOW);
  lookUp(lookups);
  return {
    states,
    of: (appId) => states.describe(appId, now),
  };
}

const BOTH = {'BRENNA-GAME': [true, false], 'BRENNA-CTE-GAME': [true, false]};
const ONE = {'BRENNA-GAME': [true, false], 'BRENNA-CTE-GAME': [false, false]};
const ONE_RUNS = {'BRENNA-GAME': [true, true], 'BRENNA-CTE-GAME': [false, false]};

const CASES = [
  ['is not installed', {lookups: ONE}, 'BRENNA-CTE-GAME', 'absent'],
  ['is idle', {lookups: ONE}, 'BRENNA-GAME', 'idle'],
  ['runs', {lookups: ONE_RUNS}, 'BRENNA-GAME', 'running'],
  ['starts', {reports: [['BRENNA-GAME', 'PENDING']], lookups: ONE}, 'BRENNA-GAME', 'starting'],
  [
    'does not start for ever',
    {reports: [['BRENNA-GAME', 'PENDING']], lookups: ONE, now: NOW + START_LIMIT_MS},
    'BRENNA-GAME',
    'idle',
  ],
  [
    'is ready, although the other edition has the pipe',
    {reports: [['BRENNA-GAME', 'PENDING'], ['BRENNA-CTE-GAME', 'READY']], lookups: ONE_RUNS},
    'BRENNA-GAME',
    'ready',
  ],
  [
    'stays not installed, although it has the pipe',
    {reports: [['BRENNA-CTE-GAME', 'READY']], lookups: ONE_RUNS},
    'BRENNA-CTE-GAME',
    'absent',
  ],
  [
    'is ready, although its process has another name',
    {reports: [['BRENNA-CTE-GAME', 'READY']], lookups: ONE},
    'BRENNA-GAME',
    'ready',
  ],
  [
    'merely runs when both editions do',
    {
      reports: [['BRENNA-CTE-GAME', 'READY']],
      lookups: {'BRENNA-GAME': [true, true], 'BRENNA-CTE-GAME': [true, true]},
    },
    'BRENNA-GAME',
    'running',
  ],
  [
    'is idle when the other edition is ready',
    {
      reports: [['BRENNA-CTE-GAME', 'READY']],
      lookups: {'BRENNA-GAME': [true, false], 'BRENNA-CTE-GAME': [true, true]},
    },
    'BRENNA-GAME',
    'idle',
  ],
  [
    'has ended',
    {before: ONE_RUNS, reports: [['BRENNA-CTE-GAME', 'GAMEISGONE']], lookups: ONE},
    'BRENNA-GAME',
    'ended',
  ],
  [
    'runs again after its end',
    {before: ONE_RUNS, reports: [['BRENNA-CTE-GAME', 'GAMEISGONE']], lookups: ONE_RUNS},
    'BRENNA-GAME',
    'running',
  ],
  [
    'has ended under another process name',
    {
      before: ONE,
      reports: [['BRENNA-CTE-GAME', 'READY'], ['BRENNA-CTE-GAME', 'GAMEISGONE']],
      lookups: ONE,
    },
    'BRENNA-GAME',
    'ended',
  ],
  ['has ended without a report', {before: ONE_RUNS, lookups: ONE}, 'BRENNA-GAME', 'ended'],
  ['is the store client', {lookups: {'OSTREL-APP': [true, false]}}, 'OSTREL-APP', 'present'],
];

for (const [what, facts, appId, state] of CASES) {
  test(`an application that ${what}`, () => assert.equal(after(facts).of(appId).state, state));
}

test('what runs is not launched again, and only that is ended', () => {
  const running = after({lookups: ONE_RUNS}).of('BRENNA-GAME');
  assert.deepEqual([running.canLaunch, running.canEnd], [false, true]);
  const starting = after({reports: [['BRENNA-GAME', 'PENDING']], lookups: ONE}).of('BRENNA-GAME');
  assert.deepEqual([starting.canLaunch, starting.canEnd], [false, false]);
  const idle = after({lookups: ONE}).of('BRENNA-GAME');
  assert.deepEqual([idle.canLaunch, idle.canEnd], [true, false]);
});

test('it is looked up again while it can change without a report', () => {
  const canChange = (facts) => {
    const {states} = after(facts);
    return states.canChangeUnreported(facts.now ?? NOW);
  };
  const gone = [['BRENNA-CTE-GAME', 'READY'], ['BRENNA-CTE-GAME', 'GAMEISGONE']];
  const starting = [['BRENNA-GAME', 'PENDING']];
  assert.ok(canChange({reports: starting, lookups: ONE}), 'starting');
  assert.ok(!canChange({reports: starting, lookups: ONE, now: NOW + START_LIMIT_MS}), 'failed');
  assert.ok(canChange({lookups: ONE_RUNS}), 'running without a pipe');
  assert.ok(!canChange({reports: gone.slice(0, 1), lookups: ONE_RUNS}), 'ready');
  assert.ok(canChange({reports: gone, lookups: ONE_RUNS}), 'the process outlives the pipe');
  assert.ok(!canChange({before: ONE_RUNS, reports: gone, lookups: ONE}), 'ended');
});

test('an event is told under the edition that is meant', () => {
  assert.equal(after({lookups: ONE}).states.nameOf('BRENNA-CTE-GAME'), 'BRENNA-GAME');
  const either = 'BRENNA-CTE-GAME or BRENNA-GAME';
  assert.equal(after({lookups: BOTH}).states.nameOf('BRENNA-CTE-GAME'), either);
});
