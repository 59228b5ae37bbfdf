// What the browser's tests talk to: addresses and accounts. Which server is there is decided here
// and nowhere else.

import { dataFolder, type DataName } from "./Collector";
import { StandIn } from "./StandIn";

export interface Account {
  user: string;
  password: string;
}

export const password = "correct horse battery";

export const accounts = {
  admin: { user: "ann", password },
  contacts: { user: "carl", password },
  viewer: { user: "vera", password },
} as const;

export interface Site {
  /** Without a slash at their ends. */
  pages: string;
  intake: string;
  /** The data folder, for the collector's commands. */
  data: string;
  /** The one-time link; it works on a site that has no accounts. */
  setupLink: string;
  stop: () => Promise<void>;
}

export interface SiteOptions {
  data?: DataName;
  hasAccounts?: boolean;
}

export async function startSite({
  data = "usual",
  hasAccounts = true,
}: SiteOptions = {}): Promise<Site> {
  const folder = await dataFolder(data);
  const setupToken = "one-time-token";
  const known = hasAccounts
    ? Object.fromEntries(
        Object.entries(accounts).map(([role, { user }]) => [user, { password, role }]),
      )
    : {};
  const server = await StandIn.start({ data: folder, accounts: known, setupToken });
  return {
    pages: server.pagesUrl,
    intake: server.intakeUrl,
    data: folder,
    setupLink: `${server.pagesUrl}/setup#${setupToken}`,
    stop: () => server.stop(),
  };
}
