// What a game server tells, with a scoreboard for each team.

import {byId, element, whileBusy} from './dom.js';

function duration(seconds) {
  const minutes = Math.floor(seconds / 60);
  return `${minutes}:${String(seconds % 60).padStart(2, '0')}`;
}

const WORDS = {explodedCrates: 'exploded crates', vesselHealth: 'vessel health'};

/** {team: 1, tickets: 340, ticketsMax: 400, bases: 2} becomes "340 of 400 tickets, 2 bases". */
function counts(values) {
  const shown = [];
  for (const [key, value] of Object.entries(values)) {
    if (key === 'team' || (key.endsWith('Max') && key.slice(0, -3) in values)) continue;
    const most = values[`${key}Max`] ?? (key === 'level' ? values.maxLevel : undefined);
    if (key === 'roundTimeMax') shown.push(`rounds of ${duration(value)}`);
    else if (key === 'level') shown.push(`level ${value} of ${most}`);
    else if (key !== 'maxLevel') {
      shown.push(`${value}${most === undefined ? '' : ` of ${most}`} ${WORDS[key] ?? key}`);
    }
  }
  return shown.join(', ');
}

/** Servers number the teams from 1; the scoreboards come in the same order. */
function rowLabel({name, values}, state) {
  if (state.mode.kind === 'armsLadder') {
    const players = state.teams.flatMap((team) => team.players);
    return players.find(({playerId}) => playerId === name)?.name ?? `Player ${name}`;
  }
  if (/^\d+$/.test(name)) return `Team ${name}`;
  const side = name.charAt(0).toUpperCase() + name.slice(1);
  return 'team' in values ? `${side} (team ${values.team})` : side;
}

function facts(state) {
  const players = state.teams.reduce((count, team) => count + team.players.length, 0);
  const shown = [
    ['Mode', state.gameMode],
    ['Map', state.currentMap],
    ['Round', duration(Number(state.roundTime))],
    ['Players', `${players} of ${state.maxPlayers}, ${state.waitingPlayers} waiting`],
    ...state.mode.rows.map((row) => [rowLabel(row, state), counts(row.values)]),
  ];
  return shown.map(([term, text]) =>
    element('div', {}, element('dt', {}, term), element('dd', {}, text)),
  );
}

const COLUMNS = ['rank', 'score', 'kills', 'deaths'];

function scoreboard({faction, players}, index) {
  const head = [
    element('th', {scope: 'col'}, 'Player'),
    ...COLUMNS.map((column) => element('th', {scope: 'col', class: 'number'}, column)),
  ];
  const rows = [...players]
    .sort((a, b) => b.score - a.score)
    .map((player) =>
      element(
        'tr',
        {},
        element('th', {scope: 'row'}, element('span', {class: 'tag'}, `${player.tag} `), player.name),
        ...COLUMNS.map((column) => element('td', {class: 'number'}, String(player[column]))),
      ),
    );
  return element(
    'table',
    {},
    element('caption', {}, `Team ${index + 1}, faction ${faction}`),
    element('thead', {}, element('tr', {}, ...head)),
    element('tbody', {}, ...rows),
  );
}

export function setUpQuery(launcher) {
  const form = byId('query-form');
  form.addEventListener('submit', (submission) => {
    submission.preventDefault();
    whileBusy(form.querySelector('button'), byId('query-message'), async () => {
      byId('server').hidden = true;
      const state = await launcher.query({
        address: byId('server-address').value.trim(),
        port: byId('server-port').valueAsNumber,
        gameId: byId('game-id').value,
      });
      byId('server-facts').replaceChildren(...facts(state));
      byId('teams').replaceChildren(...state.teams.map(scoreboard));
      byId('suspicion').hidden = !state.suspicious;
      byId('server').hidden = false;
    });
  });
}
