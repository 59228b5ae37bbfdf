// The viewer as a file of its own, which works without a server.

import { themeSwitch } from './parts/themeSwitch';
import { viewer } from './viewer/viewer';

document.querySelector('#account')?.append(themeSwitch());
document.querySelector('#viewer')?.append(viewer(2));
