// What a view is.

import type { Product, Role, Session } from '../data/api';
import type { Filter } from '../data/filter';

export interface Context {
  session: Session;
  products: Product[];
  filter: Filter;
}

export interface View {
  path: string;
  title: string;
  lead: string;
  /** Who sees it in the navigation. */
  roles?: Role[];
  /** Which filters apply. Without any the view has no filter bar. */
  filters?: { version: boolean; periods: boolean };
  /** The content. What it throws is shown in place of it. */
  content: (context: Context) => Promise<HTMLElement[]>;
}
