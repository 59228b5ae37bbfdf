// Sets light or dark before the page is painted. It is a file of its own that blocks the first
// paint, as small as it is, so that nothing flashes in the wrong colors.

const theme = localStorage.getItem('theme');
if (theme === 'light' || theme === 'dark') document.documentElement.dataset.theme = theme;
