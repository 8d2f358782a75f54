export declare const EXTENSION_ID: string;

export type ErrorCode =
  | 'not_installed'
  | 'refused'
  | 'blocked'
  | 'too_many_pages'
  | 'program_missing'
  | 'program_forbidden'
  | 'program_ended'
  | 'dll_missing'
  | 'helper_missing'
  | 'not_permitted'
  | 'unknown_application'
  | 'unknown_method'
  | 'invalid_params'
  | 'malformed'
  | 'busy'
  | 'too_large'
  | 'query_failed'
  | 'timed_out'
  | 'page_hidden'
  | 'closed'
  | 'failed';

export interface Reason {
  code: ErrorCode;
  message: string;
}

export declare class LauncherError extends Error {
  constructor(reason: Reason);
  readonly name: 'LauncherError';
  readonly code: ErrorCode;
}

export interface ConnectOptions {
  extensionId?: string;
  /** Milliseconds that anything may take before it is rejected with "timed_out". */
  timeout?: number;
  /** The person is being asked whether this page is allowed; `message` can be shown. */
  onWaiting?: (message: string) => void;
}

export declare function connectLauncher(options?: ConnectOptions): Promise<Launcher>;

export interface PingTime {
  address: string;
  /** Null for an address that did not answer. */
  milliseconds: number | null;
}

export interface PingProgress {
  done: number;
  total: number;
  times: PingTime[];
}

export interface Player {
  /** 64 bits, as decimal text. */
  playerId: string;
  name: string;
  tag: string;
  rank: number;
  score: number;
  kills: number;
  deaths: number;
  squad: number;
  role: number;
}

export interface ServerState {
  /** A text with line ends was cut out; other names and numbers may be false. */
  suspicious: boolean;
  /** Two players could be one with an odd name. */
  ambiguous: boolean;
  status: string;
  platform: string;
  persistedIdPart1: string;
  persistedIdPart2: string;
  gameId: string;
  gameMode: string;
  mapVariant: number;
  currentMap: string;
  roundTime: string;
  defaultRoundTimeMultiplier: string;
  maxPlayers: number;
  waitingPlayers: number;
  mode: {
    kind: '' | 'frontier' | 'killrace' | 'breach' | 'armsLadder' | 'seizeTheBanner' | 'vesselStrike';
    rows: {name: string; values: Record<string, number>}[];
  };
  teams: {faction: number; players: Player[]}[];
}

export type GameState = 'PENDING' | 'READY' | 'GAMEISGONE';

export interface LauncherEvents {
  statechanged: CustomEvent<{appId: string; state: GameState}>;
  command: CustomEvent<{appId: string; name: string; arguments: string[]}>;
  closed: CustomEvent<Reason>;
  reopened: CustomEvent<null>;
}

export declare class Launcher extends EventTarget {
  private constructor();
  /** Rejected with a LauncherError when the page does not get through. */
  readonly opened: Promise<void>;
  readonly launcherVersion: string;
  readonly applications: string[];
  /** Applications by the pipe that they have; some share one. The store client has none. */
  readonly pipes: Record<string, string>;
  readonly permissions: string[];

  isInstalled(appId: string): Promise<boolean>;
  getVersion(appId: string): Promise<string>;
  getParameter(appId: string, key: string): Promise<string>;
  setParameter(appId: string, key: string, value: string): Promise<boolean>;
  getExtraArguments(appId: string): Promise<string>;
  getLauncherVersion(): Promise<string>;
  launch(appId: string, commandLine?: string, flag?: boolean): Promise<boolean>;
  kill(appId: string): Promise<boolean>;
  isRunning(appId: string): Promise<boolean>;
  sendCommand(appId: string, command: string, ...words: string[]): Promise<boolean>;
  postEvent(source: string, name: string, ...words: string[]): Promise<null>;
  pollApps(): Promise<null>;
  waitForThreads(): Promise<null>;
  echo<T>(value: T): Promise<T>;
  /** Batches have 1 to 255 addresses. */
  ping(
    addresses: string[],
    options?: {batchSize?: number; onProgress?: (progress: PingProgress) => void},
  ): Promise<PingTime[]>;
  query(server: {
    address: string;
    port: number;
    gameId: string | number | bigint;
  }): Promise<ServerState>;
  call(method: string, params?: Record<string, unknown>): Promise<unknown>;
  close(): void;

  addEventListener<K extends keyof LauncherEvents>(
    type: K,
    listener: (event: LauncherEvents[K]) => void,
    options?: boolean | AddEventListenerOptions,
  ): void;
  addEventListener(
    type: string,
    listener: EventListenerOrEventListenerObject | null,
    options?: boolean | AddEventListenerOptions,
  ): void;
  removeEventListener<K extends keyof LauncherEvents>(
    type: K,
    listener: (event: LauncherEvents[K]) => void,
    options?: boolean | EventListenerOptions,
  ): void;
  removeEventListener(
    type: string,
    listener: EventListenerOrEventListenerObject | null,
    options?: boolean | EventListenerOptions,
  ): void;
}
